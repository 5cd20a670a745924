// What comes from a person or a camera. While a saver plays nobody touches anything and nothing films: these patches
// rest.
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <algorithm>
#include <array>

namespace vitrel::qc {

namespace {

class MousePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Mouse", "Where the mouse is and what is pressed. While a saver plays nobody touches it: all is 0.",
            {{"inputResetScroll", "Begins the scrolled way anew"},
                {"inputScrollFactor", "How far a turn of the wheel goes", kUnits},
                {"outputX", "Where it is, to the right", kUnits}, {"outputY", "Where it is, upwards", kUnits},
                {"outputScrollX|outputScrollY|outputScrollZ", "The way scrolled along this axis", kUnits},
                {"outputButton1", "Whether the left button is pressed"},
                {"outputButton2", "Whether the right button is pressed"},
                {"outputButton3", "Whether another button is pressed"}}};
    }

private:
    Input<bool> reset{*this, "inputResetScroll"};
    Input<double> factor{*this, "inputScrollFactor", 0.01};
    Output<double> x{*this, "outputX"}, y{*this, "outputY"}, scrollX{*this, "outputScrollX"},
        scrollY{*this, "outputScrollY"}, scrollZ{*this, "outputScrollZ"};
    Output<bool> left{*this, "outputButton1"}, right{*this, "outputButton2"}, other{*this, "outputButton3"};
};

class KeyboardPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Keyboard", "Which keys are pressed. While a saver plays none is.",
            {{"key_*", "Whether the key is pressed; the name has its UTF-16 unit in hexadecimal"}},
            {{"keys", DescribedSetting::Any, "The keys to watch: UTF-16, the higher byte first", {}, {},
                R"({"data": "AEE="})"}}};
    }

private:
    // One output a key, by its UTF-16 unit in hexadecimal.
    void configure(const Settings& settings) override
    {
        const Value* stored = settings.find("keys");
        const Bytes* keys = stored ? stored->bytes() : nullptr;
        for (std::size_t k = 0; keys && k + 1 < std::min<std::size_t>(keys->size(), 512); k += 2) {
            std::array<char, 16> name{};
            std::snprintf(name.data(), name.size(), "key_%02X%02X", unsigned((*keys)[k]), unsigned((*keys)[k + 1]));
            if (!output(name.data()))
                addOutput(name.data(), PortType::Boolean);
        }
    }
};

class VideoInputPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Video Input", "The picture of a camera. A saver records nothing: there is none.",
            {{"inputCapture", "Whether it films"}, {"outputImage", "Nothing"}}};
    }

private:
    Input<bool> capture{*this, "inputCapture", true};
    Output<ImageRef> image{*this, "outputImage"};
};

class MouseInteractionPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Interaction",
            "Lets a sprite or a billboard be dragged. While a saver plays nobody does: what it begins with stays.",
            {{"inputInitialXDrag", "The way to the right that it begins with", kUnits},
                {"inputInitialYDrag", "The way upwards that it begins with", kUnits},
                {"inputInitialRotateValue", "The turn that it begins with", kDegrees},
                {"inputInitialMagnifyValue", "The scale that it begins with"},
                {"outputInteraction", "For the _inputInteraction of what may be dragged"},
                {"outputMouseDown", "Whether it is pressed"}, {"outputMouseOver", "Whether the mouse is over it"},
                {"outputXDrag", "How far it was dragged to the right", kUnits},
                {"outputYDrag", "How far it was dragged upwards", kUnits},
                {"outputClickCount", "How often it was clicked"}}};
    }

private:
    Input<double> xDrag{*this, "inputInitialXDrag"}, yDrag{*this, "inputInitialYDrag"},
        rotate{*this, "inputInitialRotateValue"}, magnify{*this, "inputInitialMagnifyValue"};
    OutputPort& interaction = addOutput("outputInteraction", PortType::Interaction);
    Output<bool> down{*this, "outputMouseDown"}, over{*this, "outputMouseOver"};
    Output<double> xOut{*this, "outputXDrag"}, yOut{*this, "outputYDrag"};
    Output<std::uint32_t> clicks{*this, "outputClickCount"};
    void evaluate(Evaluation&) override
    {
        xOut.set(xDrag());
        yOut.set(yDrag());
    }
};

} // namespace

void registerSourcesPatches(PatchRegistry& registry)
{
    registry.family("Sources");
    registry.add<MousePatch>("QCMouse");
    registry.add<KeyboardPatch>("QCKeyboard");
    registry.add<VideoInputPatch>("QCVideoInput");
    registry.add<MouseInteractionPatch>("QCMouseInteraction");
}

} // namespace vitrel::qc
