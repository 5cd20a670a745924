#pragma once

#include "platform/quartzcomposer/patches/Drawing.h"

#include <algorithm>
#include <array>

namespace vitrel::qc {

// Corners that one structure may have drawn in a frame.
inline constexpr std::size_t kMostStructurePoints = 100'000;

// The place of the tools' bodies, under the names that they have for it.
struct ToolPlace {
    static std::vector<DescribedPort> ports()
    {
        return {{"inputXPosition", "Where it is, to the right", kUnits},
            {"inputYPosition", "Where it is, upwards", kUnits},
            {"inputZPosition", "Where it is, towards the viewer", kUnits},
            {"inputXRotation|inputYRotation|inputZRotation", "Its turn about this axis", kDegrees}};
    }
    explicit ToolPlace(Patch& patch)
        : x{patch, "inputXPosition"}
        , y{patch, "inputYPosition"}
        , z{patch, "inputZPosition"}
        , turnX{patch, "inputXRotation"}
        , turnY{patch, "inputYRotation"}
        , turnZ{patch, "inputZRotation"}
    { }
    Matrix matrix() const { return Matrix::translation(x(), y(), z()) * Matrix::rotations(turnX(), turnY(), turnZ()); }
    Input<double> x, y, z, turnX, turnY, turnZ;
};

// Their menus.
struct ToolModes {
    static std::vector<DescribedPort> ports()
    {
        return {{"inputBlending", kBlendingMeaning, blendings()}, {"inputDepth", kDepthMeaning, depthTests()}};
    }
    ToolModes(Patch& patch, std::uint32_t blendingUsual, std::uint32_t depthUsual)
        : blending{patch, "inputBlending", blendingUsual}
        , depth{patch, "inputDepth", depthUsual}
    { }
    Paint paint() const
    {
        Paint paint;
        paint.blending = blendingOf(blending());
        paint.depth = depthOf(depth());
        return paint;
    }
    Input<std::uint32_t> blending, depth;
};

// Dashes, which these tools have and this player draws as lines without gaps.
inline std::vector<DescribedPort> dashPorts()
{
    return {{"inputPattern|inputRepeatCount", "Without effect here: lines have no gaps"}};
}

inline NSColor mixedColor(const NSColor& a, const NSColor& b, double t)
{
    return {a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t, a.blue + (b.blue - a.blue) * t,
        a.alpha + (b.alpha - a.alpha) * t};
}

inline float pixelSize(double size)
{
    return static_cast<float>(size > 1 ? std::min(size, 256.0) : 1.0);
}

} // namespace vitrel::qc
