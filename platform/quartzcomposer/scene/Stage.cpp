#include "platform/quartzcomposer/scene/Stage.h"

#include <algorithm>

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

// Phong's terms at a corner, as fixed-function lighting has them: material is the corner's colour.
NSColor lit(const Lighting& lighting, const NSColor& material, const Vec3& at, Vec3 normal)
{
    normal = normalized(normal);
    const Vec3 toEye = normalized({-at.x, -at.y, -at.z});
    if (lighting.twoSides && dot(normal, toEye) < 0)
        normal = {-normal.x, -normal.y, -normal.z};
    double red = lighting.ambient.red * material.red, green = lighting.ambient.green * material.green,
           blue = lighting.ambient.blue * material.blue;
    for (const Light& light : lighting.lights) {
        const Vec3 way{light.position.x - at.x, light.position.y - at.y, light.position.z - at.z};
        const double distance = length(way);
        const Vec3 direction = normalized(way);
        const double fade = 1 / (1 + std::max(0.0, light.attenuation) * distance * distance);
        const double diffuse = std::max(0.0, dot(normal, direction)) * fade;
        const Vec3 half = normalized({direction.x + toEye.x, direction.y + toEye.y, direction.z + toEye.z});
        const double shine = diffuse > 0
            ? std::pow(std::max(0.0, dot(normal, half)), std::max(0.0, lighting.shininess)) * lighting.specular * fade
            : 0;
        red += light.color.red * (material.red * diffuse + shine);
        green += light.color.green * (material.green * diffuse + shine);
        blue += light.color.blue * (material.blue * diffuse + shine);
    }
    return {std::min(red, 1.0), std::min(green, 1.0), std::min(blue, 1.0), material.alpha};
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
    return double(std::max(canvas_.width(), 1)) / std::max(canvas_.height(), 1);
}

Matrix Stage::projection() const
{
    const double half = kNear * std::tan(radians(std::clamp(environment_.fieldOfView, 1.0, 179.0) / 2));
    return Matrix::frustum(half, half / aspect(), kNear, kFar);
}

Matrix Stage::view() const
{
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

void Stage::draw(Primitive primitive, std::span<const SolidVertex> vertices, const Matrix& shape, const Paint& paint,
    bool lightIt, const Matrix& local)
{
    if (environment_.shader && drawShaded(primitive, vertices, shape, local, paint))
        return;
    const Matrix model = view() * environment_.model * shape * local;
    const Matrix all = projection() * model;
    const Lighting* lighting = lightIt ? environment_.lighting.get() : nullptr;
    scratch_.clear();
    scratch_.reserve(vertices.size());
    for (const SolidVertex& corner : vertices) {
        NSColor color = corner.color;
        if (lighting || environment_.fog) {
            const Vec4 eye = model * corner.position;
            if (lighting)
                color = lit(*lighting, color, {eye.x, eye.y, eye.z}, model.turned(corner.normal));
            if (environment_.fog)
                color = fogged(*environment_.fog, color, -eye.z);
        }
        scratch_.push_back(canvasVertex(all * corner.position, corner, color));
    }
    flattenIfEquallyFar(scratch_);
    Paint masked = paint;
    masked.colorMask &= environment_.colorMask;
    canvas_.draw(primitive, scratch_, masked);
}

void Stage::drawFlat(std::span<const SolidVertex> vertices, const Matrix& shape, const Paint& paint)
{
    scratch_.clear();
    const double aspect = this->aspect();
    for (const SolidVertex& corner : vertices) {
        const Vec4 at = shape * corner.position;
        scratch_.push_back(canvasVertex({at.x, at.y * aspect, 0, 1}, corner, corner.color));
    }
    Paint masked = paint;
    masked.colorMask &= environment_.colorMask;
    canvas_.draw(Primitive::Triangles, scratch_, masked);
}

void Stage::beginImage(int width, int height, bool depth, bool fine)
{
    canvas_.beginImage(width, height, depth, fine);
    outer_.push_back(environment_);
    environment_ = {};
}

ImageRef Stage::endImage()
{
    environment_ = outer_.back();
    outer_.pop_back();
    return canvas_.endImage();
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
