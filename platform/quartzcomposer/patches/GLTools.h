#pragma once

#include "platform/quartzcomposer/patches/Drawing.h"

#include <algorithm>
#include <array>

namespace vitrel::qc {

// Corners that one structure may have drawn in a frame.
inline constexpr std::size_t kMostStructurePoints = 100'000;

// The place of the tools' bodies, under the names that they have for it.
struct ToolPlace {
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
