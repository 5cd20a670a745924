// The teapot that every renderer is tried on: 32 bicubic patches.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Drawing.h"
#include "platform/quartzcomposer/scene/Mesh.h"

#include <array>

namespace vitrel::qc {

namespace {

constexpr int kSteps = 8; // squares along each side of a patch
constexpr double kQuarter = 0.56; // where the handles of a quarter circle lie

// Profiles from the inside out and down: distance from the axis, height.
constexpr double kProfiles[][4][2] = {
    {{1.4, 2.25}, {1.3375, 2.38125}, {1.4375, 2.38125}, {1.5, 2.25}}, // rim
    {{1.5, 2.25}, {1.75, 1.725}, {2, 1.2}, {2, 0.75}}, {{2, 0.75}, {2, 0.3}, {1.5, 0.075}, {1.5, 0}}, // body
    {{0, 3}, {0.8, 3}, {0, 2.7}, {0.2, 2.55}}, {{0.2, 2.55}, {0.4, 2.4}, {1.3, 2.4}, {1.3, 2.25}}, // lid
    {{1.5, 0}, {1, 0}, {0.5, 0}, {0, 0}}, // bottom
};

// Rows along a tube: the inner and the outer side (along, height), and how far the middle stands out sideways.
struct Row {
    double innerX, innerZ, outerX, outerZ, half;
};
constexpr Row kTubes[][7] = {
    {{-1.6, 1.875, -1.5, 2.1, 0.3}, {-2.3, 1.875, -2.5, 2.1, 0.3}, {-2.7, 1.875, -3, 2.1, 0.3},
        {-2.7, 1.65, -3, 1.65, 0.3}, {-2.7, 1.425, -3, 1.2, 0.3}, {-2.5, 0.975, -2.65, 0.7875, 0.3},
        {-2, 0.75, -1.9, 0.45, 0.3}}, // handle
    {{1.7, 1.275, 1.7, 0.45, 0.66}, {2.6, 1.275, 3.1, 0.675, 0.66}, {2.3, 1.95, 2.4, 1.875, 0.25},
        {2.7, 2.25, 3.3, 2.25, 0.25}, {2.8, 2.325, 3.525, 2.34375, 0.25}, {2.9, 2.325, 3.45, 2.3625, 0.15},
        {2.8, 2.25, 3.2, 2.25, 0.15}}, // spout
};

using ControlPoints = std::array<std::array<Vec3, 4>, 4>; // [down][around], their product points outwards

Vec3 mixed(const ControlPoints& points, const double (&down)[4], const double (&around)[4])
{
    Vec3 sum;
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t k = 0; k < 4; ++k) {
            const double weight = down[i] * around[k];
            const Vec3& p = points[i][k];
            sum = {sum.x + p.x * weight, sum.y + p.y * weight, sum.z + p.z * weight};
        }
    }
    return sum;
}

SolidVertex cornerOf(const ControlPoints& points, int downStep, int aroundStep)
{
    const auto weights = [](double t, double(&value)[4], double(&slope)[4]) {
        const double r = 1 - t;
        const double v[4] = {r * r * r, 3 * r * r * t, 3 * r * t * t, t * t * t};
        const double s[4] = {-3 * r * r, 3 * r * r - 6 * r * t, 6 * r * t - 3 * t * t, 3 * t * t};
        std::copy(v, v + 4, value);
        std::copy(s, s + 4, slope);
    };
    double down[4], downSlope[4], around[4], aroundSlope[4];
    const double d = double(downStep) / kSteps, a = double(aroundStep) / kSteps;
    weights(d, down, downSlope);
    weights(a, around, aroundSlope);
    const Vec3 at = mixed(points, down, around);
    // In the axis all around is one point: the normal is that of just beside it.
    const double beside = std::clamp(d, 1e-4, 1 - 1e-4);
    weights(beside, down, downSlope);
    Vec3 n = crossed(mixed(points, downSlope, around), mixed(points, down, aroundSlope));
    const double length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
    n = length > 0 ? Vec3{n.x / length, n.y / length, n.z / length} : Vec3{0, 0, 1};
    // The data stand on the x-y plane; here y is up.
    return {{at.x, at.z, -at.y}, {n.x, n.z, -n.y}, a, 1 - d, {1, 1, 1, 1}};
}

void addPatch(std::vector<SolidVertex>& out, const ControlPoints& points)
{
    for (int d = 0; d < kSteps; ++d) {
        for (int a = 0; a < kSteps; ++a) {
            const SolidVertex p = cornerOf(points, d, a), q = cornerOf(points, d + 1, a),
                              r = cornerOf(points, d + 1, a + 1), s = cornerOf(points, d, a + 1);
            out.insert(out.end(), {p, q, r, p, r, s});
        }
    }
}

ControlPoints turnedProfile(const double (&profile)[4][2], int quarter)
{
    constexpr double kArc[4][2] = {{1, 0}, {1, kQuarter}, {kQuarter, 1}, {0, 1}};
    ControlPoints points;
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t k = 0; k < 4; ++k) {
            double x = kArc[k][0] * profile[i][0], y = kArc[k][1] * profile[i][0];
            for (int turn = 0; turn < quarter; ++turn)
                y = std::exchange(x, -y);
            points[i][k] = {x, y, profile[i][1]};
        }
    }
    return points;
}

// Across the tube runs "down", along it "around"; the mirrored half runs across from the outer side.
ControlPoints halfTube(const Row (&rows)[7], std::size_t from, bool mirrored)
{
    ControlPoints points;
    for (std::size_t k = 0; k < 4; ++k) {
        const Row& row = rows[from + k];
        const double side = mirrored ? row.half : -row.half;
        const Vec3 across[4] = {{row.innerX, 0, row.innerZ}, {row.innerX, side, row.innerZ},
            {row.outerX, side, row.outerZ}, {row.outerX, 0, row.outerZ}};
        for (std::size_t i = 0; i < 4; ++i)
            points[i][k] = across[mirrored ? 3 - i : i];
    }
    return points;
}

// In the middle of its box, and one wide.
std::vector<SolidVertex> teapot()
{
    std::vector<SolidVertex> all;
    for (const auto& profile : kProfiles)
        for (int quarter = 0; quarter < 4; ++quarter)
            addPatch(all, turnedProfile(profile, quarter));
    for (const auto& rows : kTubes)
        for (const std::size_t from : {0u, 3u})
            for (const bool mirrored : {false, true})
                addPatch(all, halfTube(rows, from, mirrored));
    Vec3 low = all.front().position, high = low;
    for (const SolidVertex& corner : all) {
        const Vec3& p = corner.position;
        low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    }
    const double width = high.x - low.x;
    for (SolidVertex& corner : all) {
        Vec3& p = corner.position;
        p = {(p.x - (low.x + high.x) / 2) / width, (p.y - (low.y + high.y) / 2) / width,
            (p.z - (low.z + high.z) / 2) / width};
    }
    return all;
}

class TeapotPatch final : public SolidPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Teapot", "The teapot, upright and centred, with the spout to the right.",
            {{"inputScale", "How wide it is from handle to spout", kSize}, {"inputColor", kColorMeaning},
                {"inputImage", "What is shown on each of its 32 parts"}}}
            .with(placePorts())
            .with(Modes::ports());
    }

private:
    Input<double> scale{*this, "inputScale", 1};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<ImageRef> image{*this, "inputImage"};
    Modes modes{*this, 0, 1, 1};

    void draw(Evaluation& e) override
    {
        static const auto* const shape = new std::vector<SolidVertex>(teapot());
        std::vector<SolidVertex> corners = *shape;
        for (SolidVertex& corner : corners)
            corner.color = color();
        Paint paint = modes.paint();
        paint.image = image();
        e.stage.draw(Primitive::Triangles, corners, place() * Matrix::scale(scale(), scale(), scale()), paint);
    }
};

} // namespace

void registerTeapotPatches(PatchRegistry& registry)
{
    registry.family("Drawing");
    registry.add<TeapotPatch>("QCTeapot");
}

} // namespace vitrel::qc
