// Stand-ins for a third party's bodies: lines, points, polygons and cubes out of structures, a torus.
#include "platform/quartzcomposer/patches/GLTools.h"

#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Points.h"

namespace vitrel::qc {

namespace {

// A member as a corner: its place, and its colour and its place in the image where it has them.
std::optional<SolidVertex> cornerOf(const PortValue& member, const NSColor& usual)
{
    const auto at = pointOf(member);
    if (!at)
        return std::nullopt;
    SolidVertex corner;
    corner.position = *at;
    corner.normal = {0, 0, 1};
    corner.color = colorOf(member, false).value_or(usual);
    const Structure& parts = **member.as<StructureRef>();
    constexpr std::size_t kNowhere = ~std::size_t(0);
    corner.u = memberNumber(parts, "U", kNowhere).value_or(0);
    corner.v = memberNumber(parts, "V", kNowhere).value_or(0);
    return corner;
}

// Two colours, from the first to the last.
struct Run {
    static std::vector<DescribedPort> ports()
    {
        return {{"inputColor1", "The colour of the first point, unless it has one of its own"},
            {"inputColor2", "The colour of the last point, unless it has one of its own"}};
    }
    explicit Run(Patch& patch)
        : first{patch, "inputColor1", {1, 1, 1, 1}}
        , last{patch, "inputColor2", {1, 1, 1, 1}}
    { }
    std::vector<SolidVertex> corners(const StructureRef& list) const
    {
        std::vector<SolidVertex> all;
        const std::size_t count = countOf(list, kMostStructurePoints);
        for (std::size_t k = 0; k < count; ++k) {
            const double t = count > 1 ? double(k) / double(count - 1) : 0;
            if (const auto corner = cornerOf(list->members[k].value, mixedColor(first(), last(), t)))
                all.push_back(*corner);
        }
        return all;
    }
    Input<NSColor> first, last;
};

// Points of one size; those that attenuate are smaller the farther they are.
void drawPoints(Stage& stage, std::span<const SolidVertex> points, double size, bool attenuates, Paint paint)
{
    paint.lineWidth = pixelSize(size);
    if (!attenuates) {
        stage.draw(Primitive::Points, points, {}, paint);
        return;
    }
    for (const SolidVertex& point : points) {
        const double far = -stage.toEye(point.position).z;
        paint.lineWidth = pixelSize(far > 0 ? size * std::sqrt(3.0) / far : 1); // as large as it says in the plane
        stage.draw(Primitive::Points, std::span(&point, 1), {}, paint);
    }
}

class LineStructurePatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Line Structure (GL Tools)", "Lines through the points of a structure.",
            {{"inputLines", "The points: a list of X, Y and Z, and R, G, B and A if they have colours"},
                {"inputType", "What the points make", menu({"One Line", "A Line for Each Two"})},
                {"inputSize", "How wide it is", {"pixels", 1, 256}}}}
            .with(dashPorts())
            .with(Run::ports())
            .with(ToolModes::ports());
    }

private:
    Input<StructureRef> lines{*this, "inputLines"};
    Input<std::uint32_t> type{*this, "inputType"}, pattern{*this, "inputPattern", 65535},
        repeat{*this, "inputRepeatCount", 1};
    Input<double> size{*this, "inputSize", 1};
    Run run{*this};
    ToolModes modes{*this, 3, 1};

    void draw(Evaluation& e) override
    {
        const std::vector<SolidVertex> points = run.corners(lines());
        std::vector<SolidVertex> corners;
        for (std::size_t k = 0; k + 1 < points.size(); k += type() == 1 ? 2 : 1)
            corners.insert(corners.end(), {points[k], points[k + 1]});
        Paint paint = modes.paint();
        paint.lineWidth = pixelSize(size());
        e.stage.draw(Primitive::Lines, corners, {}, paint);
    }
};

class PointStructurePatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Point Structure (GL Tools)", "The points of a structure, as squares.",
            {{"inputPoints", "The points: a list of X, Y and Z, and R, G, B and A if they have colours"},
                {"inputDefaultSize", "How large each is", {"pixels", 1, 256}},
                {"inputAttenuate", "Whether they are smaller the farther they are"}, {"inputImage", "What each shows"}}}
            .with(Run::ports())
            .with(ToolModes::ports());
    }

private:
    Input<StructureRef> points{*this, "inputPoints"};
    Input<double> size{*this, "inputDefaultSize", 8};
    Input<bool> attenuates{*this, "inputAttenuate"};
    Input<ImageRef> image{*this, "inputImage"};
    Run run{*this};
    ToolModes modes{*this, 3, 1};

    void draw(Evaluation& e) override
    {
        Paint paint = modes.paint();
        paint.image = image();
        drawPoints(e.stage, run.corners(points()), size(), attenuates(), paint);
    }
};

// Three corners each, or four.
template <int Corners> class PolygonStructurePatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{Corners == 3 ? "Triangle Structure (GL Tools)" : "Quad Structure (GL Tools)",
            Corners == 3 ? "Triangles of the points of a structure." : "Quadrangles of the points of a structure.",
            {{Corners == 3 ? "inputTriangles" : "inputQuads",
                 "The corners: a list of X, Y and Z, R, G, B and A if they have colours, U and V for their places in "
                 "the image"},
                {"inputType", "What the corners make", menu({"One for All Its Corners", "A Strip"})},
                {"inputCulling", kCullingMeaning, cullings()}, {"inputColor", "The colour of corners without one"},
                {"inputImage", "What they show"}, {"inputImageStructure", "What each of them shows: a list of images"}}}
            .with(ToolPlace::ports())
            .with(ToolModes::ports());
    }

private:
    Input<StructureRef> polygons{*this, Corners == 3 ? "inputTriangles" : "inputQuads"};
    Input<std::uint32_t> type{*this, "inputType"}, culling{*this, "inputCulling"};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<ImageRef> image{*this, "inputImage"};
    Input<StructureRef> images{*this, "inputImageStructure"};
    ToolPlace place{*this};
    ToolModes modes{*this, 3, 1};

    void draw(Evaluation& e) override
    {
        std::vector<SolidVertex> points;
        for (std::size_t k = 0; k < countOf(polygons(), kMostStructurePoints); ++k)
            if (const auto corner = cornerOf(polygons()->members[k].value, color()))
                points.push_back(*corner);
        Paint paint = modes.paint();
        paint.culling = cullingOf(culling());
        paint.image = image();
        const std::size_t step = type() == 1 ? Corners - 2 : Corners;
        std::vector<SolidVertex> corners;
        std::size_t number = 0;
        for (std::size_t k = 0; k + Corners <= points.size(); k += step, ++number) {
            const SolidVertex* p = &points[k];
            // In a strip the corners of a quad lie crosswise, and every other triangle runs the other way round.
            if (Corners == 3 && type() == 1 && number % 2 == 1)
                corners.insert(corners.end(), {p[1], p[0], p[2]});
            else if (Corners == 3)
                corners.insert(corners.end(), {p[0], p[1], p[2]});
            else if (type() == 1)
                corners.insert(corners.end(), {p[0], p[1], p[3], p[0], p[3], p[2]});
            else
                corners.insert(corners.end(), {p[0], p[1], p[2], p[0], p[2], p[3]});
            if (countOf(images(), kMostStructurePoints) == 0)
                continue;
            paint.image = number < images()->members.size()
                ? *converted(images()->members[number].value, PortType::Image).as<ImageRef>()
                : nullptr;
            e.stage.draw(Primitive::Triangles, corners, place.matrix(), paint);
            corners.clear();
        }
        if (!corners.empty())
            e.stage.draw(Primitive::Triangles, corners, place.matrix(), paint);
    }
};

class CubeStructurePatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Cube Structure (GL Tools)", "A cube at each point of a structure.",
            {{"inputPoints", "The points: a list of X, Y and Z, and R, G, B and A if they have colours"},
                {"inputDefaultSize", "How large each is", kSize}, {"inputCulling", kCullingMeaning, cullings()}}}
            .with(Run::ports())
            .with(ToolModes::ports());
    }

private:
    Input<StructureRef> points{*this, "inputPoints"};
    Input<double> size{*this, "inputDefaultSize", 0.1};
    Input<std::uint32_t> culling{*this, "inputCulling", 1};
    Run run{*this};
    ToolModes modes{*this, 0, 1};

    void draw(Evaluation& e) override
    {
        constexpr std::array<Vec3, 6> kTurns{
            Vec3{0, 0, 0}, Vec3{0, -90, 0}, Vec3{0, 90, 0}, Vec3{0, 180, 0}, Vec3{-90, 0, 0}, Vec3{90, 0, 0}};
        Paint paint = modes.paint();
        paint.culling = cullingOf(culling());
        std::vector<SolidVertex> body;
        for (const Vec3& turn : kTurns) {
            const Matrix face = Matrix::rotations(turn.x, turn.y, turn.z);
            for (SolidVertex corner : rectangle(size(), size(), {1, 1, 1, 1})) {
                corner.position.z = size() / 2;
                const Vec4 at = face * corner.position;
                corner.position = {at.x, at.y, at.z};
                corner.normal = face.turned(corner.normal);
                body.push_back(corner);
            }
        }
        std::vector<SolidVertex> corners;
        for (const SolidVertex& point : run.corners(points())) {
            for (SolidVertex corner : body) {
                const Vec3 &p = corner.position, &o = point.position;
                corner.position = {p.x + o.x, p.y + o.y, p.z + o.z};
                corner.color = point.color;
                corners.push_back(corner);
            }
            if (corners.size() > 50'000) { // drawn in parts, to hold little
                e.stage.draw(Primitive::Triangles, corners, {}, paint);
                corners.clear();
            }
            if (e.exhausted())
                return;
        }
        e.stage.draw(Primitive::Triangles, corners, {}, paint);
    }
};

// A ring about the z axis.
class TorusPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Torus (GL Tools)", "A ring about the z axis.",
            {{"inputMajorRadius", "How far its middle is from the axis", kSize},
                {"inputMinorRadius", "How thick it is", kSize},
                {"inputSlices", "How many parts it has around the axis", {"", 3, 128}},
                {"inputStacks", "How many parts it has around its middle", {"", 3, 128}},
                {"inputCulling", kCullingMeaning, cullings()}, {"inputColor", kColorMeaning},
                {"inputImage", "What goes around it"}}}
            .with(ToolPlace::ports())
            .with(ToolModes::ports());
    }

private:
    Input<double> major{*this, "inputMajorRadius", 0.5}, minor{*this, "inputMinorRadius", 0.1};
    Input<std::uint32_t> slices{*this, "inputSlices", 32}, stacks{*this, "inputStacks", 16},
        culling{*this, "inputCulling", 1};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<ImageRef> image{*this, "inputImage"};
    ToolPlace place{*this};
    ToolModes modes{*this, 0, 1};

    void draw(Evaluation& e) override
    {
        const int around = static_cast<int>(std::clamp<std::uint32_t>(slices(), 3, 128)),
                  across = static_cast<int>(std::clamp<std::uint32_t>(stacks(), 3, 128));
        const auto corner = [&](int slice, int stack) {
            const double u = double(slice) / around, v = double(stack) / across;
            const double a = 2 * kPi * u, b = 2 * kPi * v;
            const double out = major() + minor() * std::cos(b);
            return SolidVertex{{out * std::cos(a), out * std::sin(a), minor() * std::sin(b)},
                {std::cos(b) * std::cos(a), std::cos(b) * std::sin(a), std::sin(b)}, u, v, color()};
        };
        std::vector<SolidVertex> corners;
        for (int s = 0; s < around; ++s) {
            for (int t = 0; t < across; ++t) {
                const SolidVertex p = corner(s, t), q = corner(s + 1, t), r = corner(s + 1, t + 1),
                                  w = corner(s, t + 1);
                corners.insert(corners.end(), {p, q, r, p, r, w});
            }
        }
        Paint paint = modes.paint();
        paint.culling = cullingOf(culling());
        paint.image = image();
        e.stage.draw(Primitive::Triangles, corners, place.matrix(), paint);
    }
};

class ToolLinePatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Line (GL Tools)", "One line, from one colour to the other.",
            {{"inputX1|inputY1|inputZ1", "Where it starts, along this axis", kUnits},
                {"inputX2|inputY2|inputZ2", "Where it ends, along this axis", kUnits},
                {"inputU1|inputV1", "The place of its start in the image", kShare},
                {"inputU2|inputV2", "The place of its end in the image", kShare},
                {"inputSize", "How wide it is", {"pixels", 1, 256}}, {"inputColor1", "The colour of its start"},
                {"inputColor2", "The colour of its end"}, {"inputImage", "What it shows"}}}
            .with(dashPorts())
            .with(ToolModes::ports());
    }

private:
    Input<double> x1{*this, "inputX1"}, y1{*this, "inputY1"}, z1{*this, "inputZ1"}, x2{*this, "inputX2"},
        y2{*this, "inputY2"}, z2{*this, "inputZ2"}, u1{*this, "inputU1"}, v1{*this, "inputV1"}, u2{*this, "inputU2"},
        v2{*this, "inputV2"}, size{*this, "inputSize", 1};
    Input<std::uint32_t> pattern{*this, "inputPattern", 65535}, repeat{*this, "inputRepeatCount", 1};
    Input<NSColor> first{*this, "inputColor1", {1, 1, 1, 1}}, last{*this, "inputColor2", {1, 1, 1, 1}};
    Input<ImageRef> image{*this, "inputImage"};
    ToolModes modes{*this, 3, 1};

    void draw(Evaluation& e) override
    {
        const SolidVertex line[] = {
            {{x1(), y1(), z1()}, {0, 0, 1}, u1(), v1(), first()}, {{x2(), y2(), z2()}, {0, 0, 1}, u2(), v2(), last()}};
        Paint paint = modes.paint();
        paint.lineWidth = pixelSize(size());
        paint.image = image();
        e.stage.draw(Primitive::Lines, line, {}, paint);
    }
};

class ToolPointPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Point (GL Tools)", "One point, as a square.",
            {{"inputX", "Where it is, to the right", kUnits}, {"inputY", "Where it is, upwards", kUnits},
                {"inputZ", "Where it is, towards the viewer", kUnits},
                {"inputSize", "How large it is", {"pixels", 1, 256}},
                {"inputAttenuate", "Whether it is smaller the farther it is"}, {"inputColor", kColorMeaning},
                {"inputImage", "What it shows"}}}
            .with(ToolModes::ports());
    }

private:
    Input<double> x{*this, "inputX"}, y{*this, "inputY"}, z{*this, "inputZ"}, size{*this, "inputSize", 8};
    Input<bool> attenuates{*this, "inputAttenuate"};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<ImageRef> image{*this, "inputImage"};
    ToolModes modes{*this, 3, 1};

    void draw(Evaluation& e) override
    {
        const SolidVertex point{{x(), y(), z()}, {0, 0, 1}, 0, 0, color()};
        Paint paint = modes.paint();
        paint.image = image();
        drawPoints(e.stage, std::span(&point, 1), size(), attenuates(), paint);
    }
};

} // namespace

void registerGLToolsPatches(PatchRegistry& registry)
{
    registry.family("Third parties' patches, stood in for");
    registry.addStandIn<LineStructurePatch>("KinemeGLLineStructurePatch");
    registry.addStandIn<PointStructurePatch>("KinemeGLPointStructurePatch");
    registry.addStandIn<PolygonStructurePatch<3>>("KinemeGLTriangleStructurePatch");
    registry.addStandIn<PolygonStructurePatch<4>>("KinemeGLQuadStructurePatch");
    registry.addStandIn<CubeStructurePatch>("KinemeGLCubeStructurePatch");
    registry.addStandIn<TorusPatch>("KinemeGLTorusPatch");
    registry.addStandIn<ToolLinePatch>("KinemeGLLinePatch");
    registry.addStandIn<ToolPointPatch>("KinemeGLPointPatch");
}

} // namespace vitrel::qc
