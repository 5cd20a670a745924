#include "platform/quartzcomposer/scene/Stage.h"

#include <algorithm>
#include <utility>

namespace vitrel::qc {

namespace {

constexpr double kNear = 0.1, kFar = 1000;

double length(const Vec3& v)
{
    return std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
}
Vec3 normalized(const Vec3& v)
{
    const double l = length(v);
    return l > 0 ? Vec3{v.x / l, v.y / l, v.z / l} : Vec3{0, 0, 1};
}
double dot(const Vec3& a, const Vec3& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

struct Lit {
    NSColor color; // with what shines, unless that is separate
    NSColor shine;
};

// Phong's terms at a corner, as fixed-function lighting has them: material is the corner's colour.
Lit lit(const Lighting& lighting, const NSColor& material, const Vec3& at, Vec3 normal)
{
    normal = normalized(normal);
    const Vec3 toEye = normalized({-at.x, -at.y, -at.z});
    if (lighting.twoSides && dot(normal, toEye) < 0)
        normal = {-normal.x, -normal.y, -normal.z};
    NSColor sum{lighting.ambient.red * material.red, lighting.ambient.green * material.green,
        lighting.ambient.blue * material.blue, material.alpha};
    NSColor shines{0, 0, 0, 0};
    for (const Light& light : lighting.lights) {
        const Vec3 way{light.position.x - at.x, light.position.y - at.y, light.position.z - at.z};
        const double distance = length(way);
        const Vec3 direction = normalized(way);
        const double facing = dot(normal, direction);
        if (!(facing > 0))
            continue;
        const double fade = 1 / (1 + std::max(0.0, light.attenuation) * distance * distance);
        const double diffuse = facing * fade;
        const Vec3 half = normalized({direction.x + toEye.x, direction.y + toEye.y, direction.z + toEye.z});
        const double mirrored = lighting.specular != 0 ? dot(normal, half) : 0;
        const double shine
            = mirrored > 0 ? std::pow(mirrored, std::max(0.0, lighting.shininess)) * lighting.specular * fade : 0;
        NSColor& target = lighting.separateSpecular ? shines : sum;
        sum.red += light.color.red * material.red * diffuse;
        sum.green += light.color.green * material.green * diffuse;
        sum.blue += light.color.blue * material.blue * diffuse;
        target.red += light.color.red * shine;
        target.green += light.color.green * shine;
        target.blue += light.color.blue * shine;
    }
    const auto cut = [](const NSColor& c) {
        return NSColor{std::min(c.red, 1.0), std::min(c.green, 1.0), std::min(c.blue, 1.0), c.alpha};
    };
    return {cut(sum), cut(shines)};
}

NSColor fogged(const Fog& fog, const NSColor& color, double distance)
{
    double clear = 1;
    if (fog.kind == 0)
        clear = fog.end != fog.start ? (fog.end - distance) / (fog.end - fog.start) : 0;
    else
        clear = std::exp(-std::pow(fog.density * distance, fog.kind == 1 ? 1 : 2));
    clear = std::clamp(clear, 0.0, 1.0);
    return {fog.color.red + (color.red - fog.color.red) * clear,
        fog.color.green + (color.green - fog.color.green) * clear,
        fog.color.blue + (color.blue - fog.color.blue) * clear, color.alpha};
}

CanvasVertex canvasVertex(const Vec4& clip, const SolidVertex& corner, const NSColor& color)
{
    const auto f = [](double number) { return static_cast<float>(number); };
    return {{f(clip.x), f(clip.y), f(clip.z), f(clip.w)}, {f(corner.u), f(corner.v)},
        {f(color.red * color.alpha), f(color.green * color.alpha), f(color.blue * color.alpha), f(color.alpha)}};
}

// False for a triangle that is certainly not in the picture: beside it, or seen from the side that is left out.
bool isSeen(const CanvasVertex& a, const CanvasVertex& b, const CanvasVertex& c, Culling culling)
{
    const float* p = a.position;
    const float* q = b.position;
    const float* r = c.position;
    for (int axis = 0; axis < 3; ++axis) {
        const bool beyond = axis < 2 && p[axis] > p[3] && q[axis] > q[3] && r[axis] > r[3];
        if (beyond || (p[axis] < -p[3] && q[axis] < -q[3] && r[axis] < -r[3]))
            return false;
    }
    if (culling == Culling::None)
        return true;
    // The determinant of the three places has the sign of the area that is seen, also of one that passes the eye.
    const double area = double(p[0]) * (double(q[1]) * r[3] - double(r[1]) * q[3])
        - double(p[1]) * (double(q[0]) * r[3] - double(r[0]) * q[3])
        + double(p[3]) * (double(q[0]) * r[1] - double(r[0]) * q[1]);
    return culling == Culling::BackFaces ? area > 0 : area < 0;
}

// Corners that all stand equally far away need no perspective division; without one, software renderers take their
// fast path for rectangles.
void flattenIfEquallyFar(std::vector<CanvasVertex>& corners)
{
    const float w = corners.empty() ? 1 : corners.front().position[3];
    if (w <= 0
        || !std::all_of(corners.begin(), corners.end(), [w](const CanvasVertex& v) { return v.position[3] == w; }))
        return;
    for (CanvasVertex& corner : corners) {
        for (int k = 0; k < 3; ++k)
            corner.position[k] /= w;
        corner.position[3] = 1;
    }
}

} // namespace

double Stage::aspect() const
{
    if (environment_.raster && environment_.raster->viewport)
        return double(std::max(environment_.raster->viewport->width, 1))
            / std::max(environment_.raster->viewport->height, 1);
    return double(std::max(canvas_->width(), 1)) / std::max(canvas_->height(), 1);
}

Matrix Stage::projection() const
{
    if (environment_.raster && environment_.raster->projection)
        return *environment_.raster->projection;
    const double half = kNear * std::tan(radians(std::clamp(environment_.fieldOfView, 1.0, 179.0) / 2));
    return Matrix::frustum(half, half / aspect(), kNear, kFar);
}

Matrix Stage::view() const
{
    if (environment_.raster && environment_.raster->projection)
        return {};
    return Matrix::translation(0, 0, -1 / std::tan(radians(std::clamp(environment_.fieldOfView, 1.0, 179.0) / 2)));
}

Vec3 Stage::toEye(const Vec3& point) const
{
    const Vec4 eye = view() * environment_.model * point;
    return {eye.x, eye.y, eye.z};
}

Vec3 Stage::projected(const Vec3& point) const
{
    const Vec4 clip = projection() * view() * environment_.model * point;
    if (!(clip.w > 0))
        return {};
    return {clip.x / clip.w, clip.y / clip.w / aspect(), 0};
}

Paint Stage::within(const Paint& paint) const
{
    Paint masked = paint;
    masked.colorMask &= environment_.colorMask;
    masked.discardsClear = discardsClear;
    if (environment_.raster)
        applyRaster(masked);
    return masked;
}

// A line that passes the eye is seen as far as the near plane; lines are widened to rectangles, which need both ends.
void Stage::cutBehindTheEye(Primitive primitive)
{
    if (primitive != Primitive::Lines)
        return;
    std::size_t kept = 0;
    for (std::size_t k = 0; k + 1 < scratch_.size(); k += 2) {
        CanvasVertex a = scratch_[k], b = scratch_[k + 1];
        const float da = a.position[2] + a.position[3], db = b.position[2] + b.position[3];
        if (!(da > 0) && !(db > 0))
            continue;
        if (!(da > 0) || !(db > 0)) {
            CanvasVertex& hidden = da > 0 ? b : a;
            const float t = da / (da - db);
            const auto mix = [t](float from, float to) { return from + (to - from) * t; };
            CanvasVertex cut;
            for (int c = 0; c < 4; ++c) {
                cut.position[c] = mix(a.position[c], b.position[c]);
                cut.color[c] = mix(a.color[c], b.color[c]);
            }
            for (int c = 0; c < 2; ++c)
                cut.texture[c] = mix(a.texture[c], b.texture[c]);
            hidden = cut;
        }
        scratch_[kept++] = a;
        scratch_[kept++] = b;
    }
    scratch_.resize(kept);
}

void Stage::transform(std::span<const SolidVertex> vertices, const Matrix& shape, const Paint& paint, bool lightIt)
{
    const Matrix model = view() * environment_.model * shape;
    const Matrix all = environment_.raster ? placed() * projection() * model : projection() * model;
    const Lighting* lighting = lightIt ? environment_.lighting.get() : nullptr;
    bool shines = false;
    scratch_.clear();
    scratch_.reserve(vertices.size());
    shine_.clear();
    for (const SolidVertex& corner : vertices) {
        NSColor color = corner.color;
        const Vec4 clip = all * corner.position;
        if (lighting || environment_.fog) {
            const Vec4 eye = model * corner.position;
            if (lighting) {
                const Lit light = lit(*lighting, color, {eye.x, eye.y, eye.z}, model.turned(corner.normal));
                color = light.color;
                if (lighting->separateSpecular && paint.image) {
                    const NSColor& s = light.shine;
                    shines = shines || s.red > 0 || s.green > 0 || s.blue > 0;
                    shine_.push_back(canvasVertex(clip, corner, {s.red, s.green, s.blue, 1}));
                    shine_.back().color[3] = 0;
                }
            }
            if (environment_.fog)
                color = fogged(*environment_.fog, color, -eye.z);
        }
        scratch_.push_back(canvasVertex(clip, corner, color));
    }
    if (!shines)
        shine_.clear();
}

void Stage::show(Primitive primitive, const Paint& paint)
{
    flattenIfEquallyFar(scratch_);
    if (primitive == Primitive::Triangles && environment_.raster && environment_.raster->changesPolygons())
        drawPolygons(scratch_, {}, within(paint));
    else
        canvas_->draw(primitive, scratch_, within(paint));
    if (shine_.empty())
        return;
    flattenIfEquallyFar(shine_);
    canvas_->draw(primitive, shine_, shining(paint));
}

// Of what is added to a lit image.
Paint Stage::shining(const Paint& paint) const
{
    Paint over = within(paint);
    over.image = over.mask = nullptr;
    over.blending = Blending::Add;
    over.depth = paint.depth == DepthTest::None ? DepthTest::None : DepthTest::ReadOnly;
    return over;
}

void Stage::draw(Primitive primitive, std::span<const SolidVertex> vertices, const Matrix& shape, const Paint& paint,
    bool lightIt, const Matrix& local)
{
    if (environment_.shader && drawShaded(primitive, vertices, shape, local, paint))
        return;
    transform(vertices, shape * local, paint, lightIt);
    cutBehindTheEye(primitive);
    show(primitive, paint);
}

void Stage::drawShared(std::span<const SolidVertex> vertices, std::span<const std::uint16_t> corners,
    const Matrix& shape, const Paint& paint, const Matrix& local)
{
    if (environment_.shader) {
        std::vector<SolidVertex> all;
        all.reserve(corners.size());
        for (const std::uint16_t corner : corners)
            all.push_back(vertices[corner]);
        if (drawShaded(Primitive::Triangles, all, shape, local, paint))
            return;
    }
    transform(vertices, shape * local, paint, true);
    seen_.clear();
    for (std::size_t k = 0; k + 2 < corners.size(); k += 3) {
        if (isSeen(scratch_[corners[k]], scratch_[corners[k + 1]], scratch_[corners[k + 2]], paint.culling))
            seen_.insert(seen_.end(), {corners[k], corners[k + 1], corners[k + 2]});
    }
    if (!seen_.empty())
        showShared(paint);
}

void Stage::showShared(const Paint& paint)
{
    flattenIfEquallyFar(scratch_);
    if (environment_.raster && environment_.raster->changesPolygons())
        drawPolygons(scratch_, seen_, within(paint));
    else
        canvas_->drawShared(Primitive::Triangles, scratch_, seen_, within(paint));
    if (shine_.empty())
        return;
    flattenIfEquallyFar(shine_);
    canvas_->drawShared(Primitive::Triangles, shine_, seen_, shining(paint));
}

void Stage::drawFlat(std::span<const SolidVertex> vertices, const Matrix& shape, const Paint& paint)
{
    scratch_.clear();
    const double aspect = this->aspect();
    for (const SolidVertex& corner : vertices) {
        const Vec4 at = shape * corner.position;
        const Vec4 clip
            = environment_.raster ? placed() * Vec3{at.x, at.y * aspect, 0} : Vec4{at.x, at.y * aspect, 0, 1};
        scratch_.push_back(canvasVertex(clip, corner, corner.color));
    }
    canvas_->draw(Primitive::Triangles, scratch_, within(paint));
}

void Stage::beginImage(int width, int height, bool depth, bool deep)
{
    auto recording = std::make_unique<Recording>(width, height, canvas_->largestSide());
    recording->reserve(recorded_);
    Canvas* inner = recording.get();
    outer_.push_back({std::exchange(environment_, {}), canvas_, depth, deep, std::move(recording)});
    canvas_ = inner;
}

void Stage::endImage(Drawn& last)
{
    Outer outer = std::move(outer_.back());
    outer_.pop_back();
    environment_ = outer.environment;
    canvas_ = outer.canvas;
    recorded_ = outer.recording->corners();
    std::string fingerprint = outer.recording->fingerprint();
    if (last.image && !fingerprint.empty() && fingerprint == last.fingerprint)
        return;
    last.fingerprint = std::move(fingerprint);
    outermost_.beginImage(outer.recording->width(), outer.recording->height(), outer.depth, outer.deep);
    outer.recording->play(outermost_);
    last.image = outermost_.endImage();
    if (outermost_.isLate())
        last.fingerprint.clear(); // the picture isn't whole
}

std::array<SolidVertex, 6> rectangle(double width, double height, const NSColor& color)
{
    const double x = width / 2, y = height / 2;
    const Vec3 normal{0, 0, 1};
    const SolidVertex a{{-x, -y, 0}, normal, 0, 0, color}, b{{x, -y, 0}, normal, 1, 0, color},
        c{{x, y, 0}, normal, 1, 1, color}, d{{-x, y, 0}, normal, 0, 1, color};
    return {a, b, c, a, c, d};
}

} // namespace vitrel::qc
