// Stand-ins for a third party's environments: what changes how their nodes become pixels.
#include "platform/quartzcomposer/graph/Macro.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/GLTools.h"
#include "platform/quartzcomposer/patches/Points.h"

namespace vitrel::qc {

namespace {

constexpr double kMostPixels = 32'768; // of a rectangle's numbers, more than any target has

int pixels(double number)
{
    return static_cast<int>(std::isfinite(number) ? std::clamp(std::round(number), -kMostPixels, kMostPixels) : 0);
}

// Draws its nodes in an environment of its own.
class ToolMacro : public Macro
{
    bool alwaysConsumer() const override { return true; }
    void runNodes(Evaluation& e) override
    {
        const Environment outer = e.stage.environment();
        Environment& inner = e.stage.environment();
        Raster raster = inner.raster ? *inner.raster : Raster{};
        change(e, inner, raster);
        inner.raster = std::make_shared<const Raster>(raster);
        executeNodes(e);
        e.stage.environment() = outer;
    }

protected:
    virtual void change(Evaluation& e, Environment& environment, Raster& raster) = 0;
};

PolygonMode modeOf(std::uint32_t index)
{
    return static_cast<PolygonMode>(index > 2 ? 0 : index);
}

class PolygonModePatch final : public ToolMacro
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Polygon Mode (GL Tools)", "Draws the bodies in it filled, as wires or as points.",
            {{"inputFrontPolygonMode", "How fronts are drawn", menu({"Filled", "Wires", "Points"})},
                {"inputBackPolygonMode", "How backs are drawn", menu({"Filled", "Wires", "Points"})},
                {"inputStipplePattern|inputRepeatCount", "Without effect here: lines have no gaps"},
                {"inputWidth", "How wide wires are", {"pixels", 1, 256}},
                {"inputSize", "How large points are", {"pixels", 1, 256}},
                {"inputAntialiasLines|inputAntialiasPoints", "Without effect here"}}};
    }

private:
    Input<std::uint32_t> front{*this, "inputFrontPolygonMode"}, back{*this, "inputBackPolygonMode"},
        pattern{*this, "inputStipplePattern", 65535}, repeat{*this, "inputRepeatCount", 1};
    Input<double> width{*this, "inputWidth", 1}, size{*this, "inputSize", 1};
    Input<bool> smoothLines{*this, "inputAntialiasLines"}, smoothPoints{*this, "inputAntialiasPoints"};

    void change(Evaluation&, Environment&, Raster& raster) override
    {
        raster.front = modeOf(front());
        raster.back = modeOf(back());
        raster.lineWidth = pixelSize(width());
        raster.pointSize = pixelSize(size());
    }
};

class ShadeModelPatch final : public ToolMacro
{
public:
    static PatchDescription description()
    {
        return {"Shade Model (GL Tools)", "How colours run within the triangles of what is inside.",
            {{"inputMode", "Whether they run, or each triangle has the colour of its last corner",
                menu({"Smooth", "Flat"})}}};
    }

private:
    Input<std::uint32_t> mode{*this, "inputMode"}; // 0 smooth, 1 flat
    void change(Evaluation&, Environment&, Raster& raster) override { raster.flat = mode() == 1; }
};

class BlendEquationPatch final : public ToolMacro
{
public:
    static PatchDescription description()
    {
        const Measure how = menu({"Add", "Subtract", "Reverse Subtract", "Minimum", "Maximum"});
        return {"Blend Equation (GL Tools)", "How what is drawn inside and what is there become one.",
            {{"inputRGBEquation", "How colours do", how}, {"inputAlphaEquation", "How opacity does", how}}};
    }

private:
    Input<std::uint32_t> color{*this, "inputRGBEquation"}, alpha{*this, "inputAlphaEquation"};
    static BlendEquation equationOf(std::uint32_t index) { return static_cast<BlendEquation>(index > 4 ? 0 : index); }
    void change(Evaluation&, Environment&, Raster& raster) override
    {
        raster.color = equationOf(color());
        raster.alpha = equationOf(alpha());
    }
};

class AlphaThresholdPatch final : public ToolMacro
{
public:
    static PatchDescription description()
    {
        return {"Depth Buffer Alpha Threshold (GL Tools)",
            "What is clear isn't drawn, and hides nothing that comes behind it.",
            {{"inputThreshold", "The opacity up to which nothing is drawn", kShare}}};
    }

private:
    Input<double> threshold{*this, "inputThreshold", 0.5};
    void change(Evaluation&, Environment&, Raster& raster) override
    {
        raster.discardsUpTo = static_cast<float>(std::clamp(threshold(), 0.0, 1.0));
    }
};

class ScissorPatch final : public ToolMacro
{
public:
    static PatchDescription description()
    {
        return {"Scissor (GL Tools)", "What is inside is seen within a rectangle alone.",
            {{"inputX", "The left edge of the rectangle", kPixels}, {"inputY", "Its lower edge", kPixels},
                {"inputWidth", "How wide it is", kLength}, {"inputHeight", "How high it is", kLength}}};
    }

private:
    Input<double> x{*this, "inputX"}, y{*this, "inputY"}, width{*this, "inputWidth", 100},
        height{*this, "inputHeight", 100};
    void change(Evaluation&, Environment&, Raster& raster) override
    {
        raster.scissor = {pixels(x()), pixels(y()), std::max(pixels(width()), 0), std::max(pixels(height()), 0)};
    }
};

class ViewportPatch final : public ToolMacro
{
public:
    static PatchDescription description()
    {
        return {"Viewport (GL Tools)", "What is inside is drawn in a rectangle as if it were the whole picture.",
            {{"inputX", "The left edge of the rectangle", kPixels}, {"inputY", "Its lower edge", kPixels},
                {"inputW", "How wide it is", kLength}, {"inputH", "How high it is", kLength}}};
    }

private:
    Input<double> x{*this, "inputX"}, y{*this, "inputY"}, width{*this, "inputW", 100}, height{*this, "inputH", 100};
    void change(Evaluation&, Environment&, Raster& raster) override
    {
        raster.viewport = {pixels(x()), pixels(y()), std::max(pixels(width()), 0), std::max(pixels(height()), 0)};
    }
};

// Without perspective.
class OrthoPatch final : public ToolMacro
{
public:
    static PatchDescription description()
    {
        return {"Ortho (GL Tools)", "Without perspective: what is far is as large as what is near.",
            {{"inputBypass", "Whether there is perspective nevertheless"},
                {"inputLeft", "What lies at the left edge", kUnits},
                {"inputRight", "What lies at the right edge", kUnits},
                {"inputBottom", "What lies at the lower edge", kUnits},
                {"inputTop", "What lies at the upper edge", kUnits},
                {"inputNear", "How near things may be and still be seen", kUnits},
                {"inputFar", "How far things may be and still be seen", kUnits}}};
    }

private:
    Input<bool> bypass{*this, "inputBypass"};
    Input<double> left{*this, "inputLeft", -1}, right{*this, "inputRight", 1}, bottom{*this, "inputBottom", -0.75},
        top{*this, "inputTop", 0.75}, near{*this, "inputNear", -10}, far{*this, "inputFar", 200};
    void change(Evaluation&, Environment&, Raster& raster) override
    {
        const double width = right() - left(), height = top() - bottom(), depth = far() - near();
        if (bypass() || width == 0 || height == 0 || depth == 0)
            return;
        raster.projection
            = Matrix::translation(-(right() + left()) / width, -(top() + bottom()) / height, -(far() + near()) / depth)
            * Matrix::scale(2 / width, 2 / height, -2 / depth);
    }
};

class ScalePatch final : public ToolMacro
{
public:
    static PatchDescription description()
    {
        return {"Scale (GL Tools)", "Scales what is inside.",
            {{"inputX|inputY|inputZ", "How many times as large along this axis"},
                {"inputFixLighting", "Without effect here: light is right in any case"}}};
    }

private:
    Input<double> x{*this, "inputX", 1}, y{*this, "inputY", 1}, z{*this, "inputZ", 1};
    Input<bool> fixLighting{*this, "inputFixLighting", true}; // normals are made one long in any case
    void change(Evaluation&, Environment& environment, Raster&) override
    {
        environment.model = environment.model * Matrix::scale(x(), y(), z());
    }
};

// Draws its nodes once for each member: moved, turned and scaled by it. They see no iteration.
class StructureRendererPatch final : public Macro
{
public:
    static PatchDescription description()
    {
        return {"Structure Renderer (GL Tools)", "Draws what is inside once for each member of a structure.",
            {{"inputTransformStructure",
                "A list of X, Y, Z to move by, RX, RY, RZ to turn by, SX, SY, SZ to scale by"}}};
    }

private:
    Input<StructureRef> transforms{*this, "inputTransformStructure"};
    bool alwaysConsumer() const override { return true; }
    void runNodes(Evaluation& e) override
    {
        const Environment outer = e.stage.environment();
        const int copy = e.copy;
        for (std::size_t k = 0; k < countOf(transforms(), kMostStructurePoints); ++k) {
            const auto* member = transforms()->members[k].value.as<StructureRef>();
            if (!member || !*member)
                continue;
            if (e.iterationsLeft == 0 || e.exhausted())
                break;
            --e.iterationsLeft;
            const auto part = [&](const char* key, std::size_t at, double usual) {
                return memberNumber(**member, key, at).value_or(usual);
            };
            e.copy = copy + (k > 0);
            e.stage.environment().model = outer.model
                * Matrix::translation(part("X", 0, 0), part("Y", 1, 0), part("Z", 2, 0))
                * Matrix::rotations(part("RX", 3, 0), part("RY", 4, 0), part("RZ", 5, 0))
                * Matrix::scale(part("SX", 6, 1), part("SY", 7, 1), part("SZ", 8, 1));
            executeNodes(e);
        }
        e.copy = copy;
        e.stage.environment() = outer;
    }
};

class ClearDepthPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return {"Clear Depth (GL Tools)", "Forgets how far things were, so that what comes next covers them.",
            {{"inputDepth", "Without effect here: the farthest"}}};
    }

private:
    Input<double> depth{*this, "inputDepth", 1}; // another than the farthest isn't told apart
    void draw(Evaluation& e) override { e.stage.canvas().clear({}, false, true, 0xF); }
};

// The rotation that undoes that of the environment, so that what is turned by it faces the viewer.
class InverseRotationPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Inverse Rotation (GL Tools)",
            "The turn that undoes that of what is around: a sprite that has it faces the viewer.",
            {{"outputXRotation|outputYRotation|outputZRotation", "The turn about this axis", kDegrees}}};
    }

private:
    Output<double> x{*this, "outputXRotation"}, y{*this, "outputYRotation"}, z{*this, "outputZRotation"};
    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        // The columns made one long are the rotation; its inverse has them as rows, and is taken as turns about x, y,
        // z.
        const auto& m = e.stage.environment().model.m;
        double r[3][3];
        for (std::size_t column = 0; column < 3; ++column) {
            const double length = std::hypot(m[column * 4], m[column * 4 + 1], m[column * 4 + 2]);
            for (std::size_t row = 0; row < 3; ++row)
                r[column][row] = length > 0 ? m[column * 4 + row] / length : column == row;
        }
        const double degrees = 180 / kPi, sine = std::clamp(r[0][2], -1.0, 1.0);
        y.set(std::asin(sine) * degrees);
        if (std::fabs(sine) < 0.999999) {
            x.set(std::atan2(-r[1][2], r[2][2]) * degrees);
            z.set(std::atan2(-r[0][1], r[0][0]) * degrees);
        } else { // looked at along an axis: one turn does for two
            x.set(std::atan2(r[2][1], r[1][1]) * degrees);
            z.set(0);
        }
    }
};

// Its nodes in two pictures, one for each eye.
class StereoPatch final : public Macro
{
public:
    static PatchDescription description()
    {
        return {"Stereo Environment (GL Tools)", "What is inside, in two pictures, one for each eye.",
            {{"inputWidth", "How wide a picture is", {"pixels", 1, kMaxSide}},
                {"inputHeight", "How high a picture is", {"pixels", 1, kMaxSide}},
                {"inputIOD", "How far apart the eyes are; at 0 both pictures are one", kUnits},
                {"inputZScreen", "How far from the eyes things are at one place in both pictures", kUnits},
                {"inputZObject", "Where things are before the eyes", kUnits},
                {"inputZNear", "How near things may be and still be seen", kSize},
                {"inputZFar", "How far things may be and still be seen", kSize},
                {"inputYFov", "The angle of view, upright", {"degrees", 1, 179}},
                {"inputBypass", "Whether both are as any other picture"},
                {"outputImageLeft", "The picture for the left eye"},
                {"outputImageRight", "The picture for the right eye"}}};
    }

private:
    Input<std::uint32_t> width{*this, "inputWidth", 512}, height{*this, "inputHeight", 512};
    Input<double> apart{*this, "inputIOD"}, screen{*this, "inputZScreen", 10}, object{*this, "inputZObject", -10},
        near{*this, "inputZNear", 3}, far{*this, "inputZFar", 30}, fieldOfView{*this, "inputYFov", 45};
    Input<bool> bypass{*this, "inputBypass"};
    Output<ImageRef> left{*this, "outputImageLeft"}, right{*this, "outputImageRight"};

    static constexpr std::uint32_t kMaxSide = 4096;

    Kind kind() const override { return Kind::Timed; }
    bool updatesAsAWhole() const override { return true; }
    void updatePublished(Evaluation& e) override
    {
        drawEye(e, -1, left_);
        left.set(left_.image);
        if (apart() != 0) {
            ++e.copy;
            drawEye(e, 1, right_);
            --e.copy;
        }
        right.set(apart() != 0 ? right_.image : left_.image);
    }
    void drawEye(Evaluation& e, int side, Stage::Drawn& drawn)
    {
        const auto pixelsOf = [](std::uint32_t asked) { return static_cast<int>(std::clamp(asked, 1u, kMaxSide)); };
        e.stage.beginImage(pixelsOf(width()), pixelsOf(height()), true);
        const double close = std::max(near(), 1e-3), distant = std::max(far(), close + 1e-3);
        if (!bypass()) {
            Raster raster;
            const double half = close * std::tan(radians(std::clamp(fieldOfView(), 1.0, 179.0) / 2));
            // The two frustums meet in the screen's plane.
            const double shift = screen() != 0 ? side * apart() / 2 * close / screen() : 0;
            Matrix frustum = Matrix::frustum(half * e.stage.aspect(), half, close, distant);
            frustum.m[8] = -shift / (half * e.stage.aspect());
            raster.projection = frustum * Matrix::translation(-side * apart() / 2, 0, 0);
            e.stage.environment().raster = std::make_shared<const Raster>(raster);
            e.stage.environment().model = Matrix::translation(0, 0, object());
        }
        executeNodes(e);
        pullPublished(e);
        e.stage.endImage(drawn);
    }
    Stage::Drawn left_, right_;
};

} // namespace

void registerGLEnvironmentsPatches(PatchRegistry& registry)
{
    registry.family("Third parties' patches, stood in for");
    registry.addStandIn<PolygonModePatch>("KinemeGLPolygonModePatch");
    registry.addStandIn<ShadeModelPatch>("KinemeGLShadeModelPatch");
    registry.addStandIn<BlendEquationPatch>("KinemeGLBlendEquationPatch");
    registry.addStandIn<AlphaThresholdPatch>("KinemeGLDepthBufferAlphaThresholdPatch");
    registry.addStandIn<ScissorPatch>("KinemeGLScissorPatch");
    registry.addStandIn<ViewportPatch>("KinemeGLViewportPatch");
    registry.addStandIn<OrthoPatch>("KinemeGLOrthoPatch");
    registry.addStandIn<ScalePatch>("KinemeGLScalePatch");
    registry.addStandIn<StructureRendererPatch>("KinemeGLStructureRendererPatch");
    registry.addStandIn<ClearDepthPatch>("KinemeGLClearDepthPatch");
    registry.addStandIn<InverseRotationPatch>("KinemeGLInverseRotation");
    registry.addStandIn<StereoPatch>("KinemeGLStereoEnvironmentPatch");
}

} // namespace vitrel::qc
