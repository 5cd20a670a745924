// Macros that change how and how often their nodes are drawn.
#include "platform/quartzcomposer/graph/Macro.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Curves.h"

namespace vitrel::qc {

namespace {

class IteratorPatch final : public Macro
{
public:
    static PatchDescription description()
    {
        return {"Iterator",
            "Computes and draws what is inside several times; the iterator variables say which time it is.",
            {{"inputCount", "How often"}}};
    }

private:
    Input<std::uint32_t> count{*this, "inputCount", 1};

    void configure(const Settings&) override
    {
        inner_.outer = scope;
        inner_.iterates = true;
    }
    Scope* scopeOfNodes() override { return &inner_; }
    bool updatesAsAWhole() const override { return true; }
    void runNodes(Evaluation& e) override
    {
        iterate(e, [&] { executeNodes(e); });
    }
    void updatePublished(Evaluation& e) override
    {
        iterate(e, [&] {
            executeNodes(e);
            pullPublished(e);
        });
    }
    template <class Run> void iterate(Evaluation& e, Run run)
    {
        for (std::uint32_t k = 0; k < count() && e.iterationsLeft > 0 && !e.exhausted(); ++k) {
            --e.iterationsLeft;
            inner_.index = k;
            inner_.count = count();
            inner_.path = (inner_.outer ? inner_.outer->path : 0) * 1'000'003u + k + 1;
            ++inner_.stamp;
            const std::size_t before = e.remembering.size();
            run();
            e.remember(before);
        }
    }
    Scope inner_;
};

class IteratorVariablesPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Iterator Variables",
            "Which run of the iterator around it is under way. Outside one it is the first of one.",
            {{"outputIndex", "The number of the run, from 0 on"},
                {"outputPosition", "The same, from 0 at the first to 1 at the last", kShare},
                {"outputCount", "How many runs there are"}}};
    }

private:
    Output<std::uint32_t> index{*this, "outputIndex"}, count{*this, "outputCount"};
    Output<double> position{*this, "outputPosition"};

    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation&) override
    {
        const Scope* running = scope && scope->iterates ? scope : nullptr;
        index.set(running ? running->index : 0);
        count.set(running ? running->count : 1);
        position.set(running && running->count > 1 ? double(running->index) / (running->count - 1) : 0);
    }
};

// A macro that draws its nodes in an environment of its own.
class EnvironmentMacro : public Macro
{
    bool alwaysConsumer() const override { return true; }
    void runNodes(Evaluation& e) override
    {
        const Environment outer = e.stage.environment();
        change(e, e.stage.environment());
        executeNodes(e);
        e.stage.environment() = outer;
    }
    virtual void change(Evaluation& e, Environment& environment) = 0;
};

class CameraPatch final : public EnvironmentMacro
{
public:
    static PatchDescription description()
    {
        return {"3D Transformation", "Turns, moves and scales what is inside, in this order.",
            {{"inputOriginX|inputOriginY|inputOriginZ", "The point about which it turns and scales, along this axis",
                 kUnits},
                {"inputRotateX|inputRotateY|inputRotateZ", "The turn about this axis", kDegrees},
                {"inputTranslateX", "How far it moves to the right", kUnits},
                {"inputTranslateY", "How far it moves upwards", kUnits},
                {"inputTranslateZ", "How far it moves towards the viewer", kUnits},
                {"inputScaleX|inputScaleY|inputScaleZ", "How many times as large along this axis"}}};
    }

private:
    Input<double> originX{*this, "inputOriginX"}, originY{*this, "inputOriginY"}, originZ{*this, "inputOriginZ"},
        rotateX{*this, "inputRotateX"}, rotateY{*this, "inputRotateY"}, rotateZ{*this, "inputRotateZ"},
        translateX{*this, "inputTranslateX"}, translateY{*this, "inputTranslateY"},
        translateZ{*this, "inputTranslateZ"}, scaleX{*this, "inputScaleX", 1}, scaleY{*this, "inputScaleY", 1},
        scaleZ{*this, "inputScaleZ", 1};

    void change(Evaluation&, Environment& environment) override
    {
        const Matrix there = Matrix::translation(originX(), originY(), originZ()),
                     back = Matrix::translation(-originX(), -originY(), -originZ());
        environment.model = environment.model * there * Matrix::scale(scaleX(), scaleY(), scaleZ()) * back
            * Matrix::translation(translateX(), translateY(), translateZ()) * there
            * Matrix::rotations(rotateX(), rotateY(), rotateZ()) * back;
    }
};

// Without mouse events it turns nothing.
class TrackBallPatch final : public EnvironmentMacro
{
public:
    static PatchDescription description()
    {
        return {"Trackball", "Lets the mouse turn what is inside. While a saver plays nobody does: it stays as it is.",
            {{"inputTrack", "Whether it follows the mouse"}, {"inputResetSignal", "Turns it back"},
                {"inputOriginX|inputOriginY|inputOriginZ", "The point about which it turns, along this axis", kUnits}}};
    }

private:
    Input<bool> track{*this, "inputTrack", true}, reset{*this, "inputResetSignal"};
    Input<double> originX{*this, "inputOriginX"}, originY{*this, "inputOriginY"}, originZ{*this, "inputOriginZ"};
    void change(Evaluation&, Environment&) override { }
};

class ProjectionPatch final : public EnvironmentMacro
{
public:
    static PatchDescription description()
    {
        return {"Projection", "Another angle of view for what is inside. What stands at z 0 keeps its size.",
            {{"inputFieldOfView", "The angle across the picture", {"degrees", 1, 179}}}};
    }

private:
    Input<double> fieldOfView{*this, "inputFieldOfView", 60};
    void change(Evaluation&, Environment& environment) override { environment.fieldOfView = fieldOfView(); }
};

class ColorMaskPatch final : public EnvironmentMacro
{
public:
    static PatchDescription description()
    {
        return {"Color Mask", "Keeps what is inside from writing some of the channels.",
            {{"inputRed|inputGreen|inputBlue|inputAlpha", "Whether this channel is written"}}};
    }

private:
    Input<bool> red{*this, "inputRed", true}, green{*this, "inputGreen", true}, blue{*this, "inputBlue", true},
        alpha{*this, "inputAlpha", true};
    void change(Evaluation&, Environment& environment) override
    {
        environment.colorMask &= static_cast<std::uint8_t>(red() | green() << 1 | blue() << 2 | alpha() << 3);
    }
};

class FogPatch final : public EnvironmentMacro
{
public:
    static PatchDescription description()
    {
        return {"Fog", "Distance takes the colour of fog. The eye is 1.732 units before the middle of the picture.",
            {{"inputType", "How it grows with the distance", menu({"Linear", "Exponential", "Exponential Squared"})},
                {"inputQuality", "Without effect here"}, {"inputMode", "Without effect here"},
                {"inputColor", "The colour of the fog"},
                {"inputDensity", "Of the exponential ones, how dense it is", kNotNegative},
                {"inputStart", "Of the linear one, how far from the eye it begins", kUnits},
                {"inputEnd", "Of the linear one, how far from the eye nothing else is seen", kUnits}}};
    }

private:
    Input<std::uint32_t> type{*this, "inputType"}, quality{*this, "inputQuality"}, mode{*this, "inputMode"};
    Input<NSColor> color{*this, "inputColor"};
    Input<double> density{*this, "inputDensity", 1}, start{*this, "inputStart"}, end{*this, "inputEnd", 1};
    void change(Evaluation&, Environment& environment) override
    {
        environment.fog = std::make_shared<Fog>(
            Fog{static_cast<int>(std::min<std::uint32_t>(type(), 2)), color(), density(), start(), end()});
    }
};

class LightingPatch final : public EnvironmentMacro
{
public:
    static PatchDescription description()
    {
        return {"Lighting", "Lights what is inside, with up to eight lights.",
            {{"inputAmbientColor", "The light that comes from everywhere"},
                {"inputObjectSpecular", "How strongly things shine", kShare},
                {"inputObjectShininess", "How small and sharp the shine is", {"", 0, 128}},
                {"color_*", "The colour of the light of this number, from 1 on"},
                {"positionX_*|positionY_*|positionZ_*", "Where the light of this number is, along this axis", kUnits},
                {"attenuation_*", "How fast the light of this number fades with the distance; 0: not at all",
                    kNotNegative},
                {"castShadows_*", "Without effect here: shadows aren't drawn"},
                {"shadowColor_*", "Without effect here: shadows aren't drawn"},
                {"quality_*", "Without effect here: shadows aren't drawn"}},
            {{"numberOfLights|lightCount", DescribedSetting::Number, "How many lights; 1 without it", {"", 0, 8}},
                {"lightTwoSides", DescribedSetting::Flag, "Whether the back of a surface is lit as its front is"},
                {"separateSpecular", DescribedSetting::Flag,
                    "Whether the shine lies upon the image and isn't coloured by it"}}};
    }

private:
    Input<NSColor> ambient{*this, "inputAmbientColor", {0.1, 0.1, 0.1, 1}};
    Input<double> specular{*this, "inputObjectSpecular", 0.5}, shininess{*this, "inputObjectShininess", 128};

    void configure(const Settings& settings) override
    {
        twoSides_ = settings.flag("lightTwoSides", false);
        separateSpecular_ = settings.flag("separateSpecular", false);
        const double count = settings.number("numberOfLights", settings.number("lightCount", 1));
        for (int k = 1; k <= std::clamp(count, 0.0, 8.0); ++k) {
            const std::string n = "_" + std::to_string(k);
            lights_.push_back({&addInput("color" + n, PortType::Color, NSColor{1, 1, 1, 1}),
                &addInput("positionX" + n, PortType::Number, -1.0), &addInput("positionY" + n, PortType::Number, 1.0),
                &addInput("positionZ" + n, PortType::Number, 1.0),
                &addInput("attenuation" + n, PortType::Number, 0.0)});
            // Shadows aren't drawn; the ports take what files store.
            addInput("castShadows" + n, PortType::Boolean, false);
            addInput("shadowColor" + n, PortType::Color, NSColor{0, 0, 0, 1});
            addInput("quality" + n, PortType::Index, std::uint32_t(1));
        }
    }
    void change(Evaluation& e, Environment& environment) override
    {
        auto lighting = std::make_shared<Lighting>();
        lighting->ambient = ambient();
        lighting->specular = specular();
        lighting->shininess = shininess();
        lighting->twoSides = twoSides_;
        lighting->separateSpecular = separateSpecular_;
        const auto number = [](const InputPort* port) { return *port->value().as<double>(); };
        for (const LightPorts& ports : lights_) {
            const Vec3 at{number(ports.x), number(ports.y), number(ports.z)};
            lighting->lights.push_back(
                {*ports.color->value().as<NSColor>(), e.stage.toEye(at), number(ports.attenuation)});
        }
        environment.lighting = lighting;
    }
    struct LightPorts {
        InputPort *color, *x, *y, *z, *attenuation;
    };
    std::vector<LightPorts> lights_;
    bool twoSides_ = false, separateSpecular_ = false;
};

// Draws its nodes as often as it is told, each copy a part further on the way to the last.
class ReplicatorPatch final : public EnvironmentMacro
{
public:
    static PatchDescription description()
    {
        return {"Replicate in Space",
            "Draws what is inside again and again, each copy a part further on the way to the last one. Each is "
            "scaled, turned, "
            "shifted, turned again and moved.",
            {{"inputCopies", "How many copies"}, {"inputInterpolation", "How evenly they lie on the way", curves()},
                {"inputScale", "How many times as large the last one is"},
                {"inputOrientationX|inputOrientationY|inputOrientationZ",
                    "The turn of the last one about its own middle, about this axis", kDegrees},
                {"inputOriginX|inputOriginY|inputOriginZ", "How far all are shifted along this axis", kUnits},
                {"inputRotationX|inputRotationY|inputRotationZ", "The turn of the last one, shifted, about this axis",
                    kDegrees},
                {"inputTranslationX|inputTranslationY|inputTranslationZ", "How far the last one moves along this axis",
                    kUnits}}};
    }

private:
    Input<std::uint32_t> copies{*this, "inputCopies", 5}, curveNumber{*this, "inputInterpolation"};
    Input<double> scale{*this, "inputScale", 1}, orientationX{*this, "inputOrientationX"},
        orientationY{*this, "inputOrientationY"}, orientationZ{*this, "inputOrientationZ"},
        originX{*this, "inputOriginX"}, originY{*this, "inputOriginY"}, originZ{*this, "inputOriginZ"},
        rotationX{*this, "inputRotationX"}, rotationY{*this, "inputRotationY"}, rotationZ{*this, "inputRotationZ"},
        translationX{*this, "inputTranslationX"}, translationY{*this, "inputTranslationY"},
        translationZ{*this, "inputTranslationZ"};

    // The nodes are computed once and drawn again: they see no iteration.
    void runNodes(Evaluation& e) override
    {
        const Environment outer = e.stage.environment();
        const int copy = e.copy;
        for (std::uint32_t k = 0; k < copies() && e.iterationsLeft > 0 && !e.exhausted(); ++k) {
            --e.iterationsLeft;
            e.copy = copy + (k > 0);
            const double f = copies() > 1 ? curve(curveNumber(), double(k) / (copies() - 1)) : 0;
            const double size = 1 + (scale() - 1) * f;
            e.stage.environment() = outer;
            // The last factor acts first: scale, orientation, origin, rotation, translation.
            e.stage.environment().model = outer.model
                * Matrix::translation(translationX() * f, translationY() * f, translationZ() * f)
                * Matrix::rotations(rotationX() * f, rotationY() * f, rotationZ() * f)
                * Matrix::translation(originX(), originY(), originZ())
                * Matrix::rotations(orientationX() * f, orientationY() * f, orientationZ() * f)
                * Matrix::scale(size, size, size);
            executeNodes(e);
        }
        e.copy = copy;
        e.stage.environment() = outer;
    }
    void change(Evaluation&, Environment&) override { }
};

// Draws its nodes into an image of its own size.
class RenderInImagePatch final : public Macro
{
public:
    static PatchDescription description()
    {
        return {"Render in Image",
            "Draws what is inside into an image, which anything may use. It is 2 units wide, as every picture is.",
            {{"inputRender", "Whether it is drawn anew; if not, it stays as it was"},
                {"inputWidth", "How wide the image is; 0: as the picture around", kLength},
                {"inputHeight", "How high the image is; 0: as the picture around", kLength},
                {"inputTarget", "Without effect here"}, {"inputMipmaps", "Without effect here"},
                {"outputImage", "The image, clear where nothing was drawn"}},
            {{"noDepthBuffer", DescribedSetting::Flag, "Whether nothing hides what comes behind it"},
                {"pixelFormat", DescribedSetting::Text,
                    "How fine its colours are; RGBAf has more than 256 steps of each", {}, {"RGBA8", "RGBAf"}}}};
    }

private:
    Input<bool> render{*this, "inputRender", true};
    Input<std::uint32_t> width{*this, "inputWidth", 640}, height{*this, "inputHeight", 480},
        target{*this, "inputTarget"};
    Input<bool> mipmaps{*this, "inputMipmaps"};
    Output<ImageRef> result{*this, "outputImage"};

    void configure(const Settings& settings) override
    {
        depth_ = !settings.flag("noDepthBuffer", false);
        deep_ = settings.text("pixelFormat") == "RGBAf";
    }
    Kind kind() const override { return Kind::Timed; }
    bool updatesAsAWhole() const override { return true; }
    void updatePublished(Evaluation& e) override
    {
        if (!render() && last_.image)
            return;
        const int most = e.stage.canvas().largestSide();
        const auto side = [most](std::uint32_t asked, int outer) {
            return static_cast<int>(std::clamp<std::uint32_t>(
                asked ? asked : static_cast<std::uint32_t>(std::max(outer, 1)), 1, static_cast<std::uint32_t>(most)));
        };
        e.stage.beginImage(
            side(width(), e.stage.canvas().width()), side(height(), e.stage.canvas().height()), depth_, deep_);
        executeNodes(e);
        pullPublished(e);
        e.stage.endImage(last_);
        result.set(last_.image);
    }
    bool depth_ = true, deep_ = false;
    Stage::Drawn last_;
};

} // namespace

void registerEnvironmentsPatches(PatchRegistry& registry)
{
    registry.family("Environments");
    registry.add<IteratorPatch>("QCIterator");
    registry.add<IteratorVariablesPatch>("QCIteratorVariables");
    registry.add<CameraPatch>("QCCamera");
    registry.add<TrackBallPatch>("QCTrackBall");
    registry.add<ProjectionPatch>("QCProjection");
    registry.add<ColorMaskPatch>("QCColorMask");
    registry.add<FogPatch>("QCFog");
    registry.add<LightingPatch>("QCLighting");
    registry.add<ReplicatorPatch>("QCReplicator");
    registry.add<RenderInImagePatch>("QCRenderInImage");
}

} // namespace vitrel::qc
