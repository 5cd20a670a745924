#pragma once

#include "platform/quartzcomposer/graph/Patch.h"

namespace vitrel::qc {

inline Blending blendingOf(std::uint32_t index)
{
    return static_cast<Blending>(std::min<std::uint32_t>(index, 3));
}
inline DepthTest depthOf(std::uint32_t index)
{
    return static_cast<DepthTest>(std::min<std::uint32_t>(index, 2));
}
inline Culling cullingOf(std::uint32_t index)
{
    return static_cast<Culling>(index > 2 ? 0 : index);
}

class ConsumerPatch : public Patch
{
public:
    Kind kind() const override { return Kind::Consumer; }
};

// A consumer with a place and a turn in space.
class SolidPatch : public ConsumerPatch
{
protected:
    Input<double> x{*this, "inputX"}, y{*this, "inputY"}, z{*this, "inputZ"};
    Input<double> turnX{*this, "inputRX"}, turnY{*this, "inputRY"}, turnZ{*this, "inputRZ"};

    Matrix place() const { return Matrix::translation(x(), y(), z()) * Matrix::rotations(turnX(), turnY(), turnZ()); }
};

// The three menus that most renderers have.
struct Modes {
    Modes(Patch& patch, std::uint32_t blendingUsual, std::uint32_t depthUsual, std::uint32_t cullingUsual)
        : blending{patch, "inputBlending", blendingUsual}
        , depth{patch, "inputZBuffer", depthUsual}
        , culling{patch, "inputCulling", cullingUsual}
    { }
    Paint paint() const
    {
        Paint paint;
        paint.blending = blendingOf(blending());
        paint.depth = depthOf(depth());
        paint.culling = cullingOf(culling());
        return paint;
    }
    Input<std::uint32_t> blending, depth, culling;
};

} // namespace vitrel::qc
