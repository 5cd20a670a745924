#pragma once

#include "platform/quartzcomposer/graph/Patch.h"
#include "platform/quartzcomposer/graph/PatchDescription.h"

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

inline Measure blendings()
{
    return menu({"Replace", "Over", "Add", "Alpha"});
}
inline Measure depthTests()
{
    return menu({"None", "Read / Write", "Read-Only"});
}
inline Measure cullings()
{
    return menu({"None", "Back Faces", "Front Faces"});
}
inline constexpr const char* kBlendingMeaning = "How it meets what is beneath it";
inline constexpr const char* kDepthMeaning = "Whether it is hidden by what is nearer, and hides what comes behind";
inline constexpr const char* kCullingMeaning = "Which side isn't drawn";
inline constexpr const char* kColorMeaning = "Its colour, by which its image is multiplied";

class ConsumerPatch : public Patch
{
public:
    Kind kind() const override { return Kind::Consumer; }
};

// A consumer with a place and a turn in space.
class SolidPatch : public ConsumerPatch
{
public:
    static std::vector<DescribedPort> placePorts()
    {
        return {{"inputX", "Where its middle is, to the right", kUnits}, {"inputY", "Where it is, upwards", kUnits},
            {"inputZ", "Where it is, towards the viewer", kUnits},
            {"inputRX", "Its turn about the x axis, after those about z and y", kDegrees},
            {"inputRY", "Its turn about the y axis, after that about z", kDegrees},
            {"inputRZ", "Its turn about the z axis, counter-clockwise", kDegrees}};
    }

protected:
    Input<double> x{*this, "inputX"}, y{*this, "inputY"}, z{*this, "inputZ"};
    Input<double> turnX{*this, "inputRX"}, turnY{*this, "inputRY"}, turnZ{*this, "inputRZ"};

    Matrix place() const { return Matrix::translation(x(), y(), z()) * Matrix::rotations(turnX(), turnY(), turnZ()); }
};

// The three menus that most renderers have.
struct Modes {
    static std::vector<DescribedPort> ports()
    {
        return {{"inputBlending", kBlendingMeaning, blendings()}, {"inputZBuffer", kDepthMeaning, depthTests()},
            {"inputCulling", kCullingMeaning, cullings()}};
    }
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
