// What comes from a person or a camera. While a saver plays nobody touches anything and nothing films: these patches
// rest.
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <algorithm>
#include <array>

namespace vitrel::qc {

namespace {

class MousePatch final : public Patch
{
    Input<bool> reset{*this, "inputResetScroll"};
    Input<double> factor{*this, "inputScrollFactor", 0.01};
    Output<double> x{*this, "outputX"}, y{*this, "outputY"}, scrollX{*this, "outputScrollX"},
        scrollY{*this, "outputScrollY"}, scrollZ{*this, "outputScrollZ"};
    Output<bool> left{*this, "outputButton1"}, right{*this, "outputButton2"}, other{*this, "outputButton3"};
};

class KeyboardPatch final : public Patch
{
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
    Input<bool> capture{*this, "inputCapture", true};
    Output<ImageRef> image{*this, "outputImage"};
};

class MouseInteractionPatch final : public Patch
{
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
    registry.add<MousePatch>("QCMouse");
    registry.add<KeyboardPatch>("QCKeyboard");
    registry.add<VideoInputPatch>("QCVideoInput");
    registry.add<MouseInteractionPatch>("QCMouseInteraction");
}

} // namespace vitrel::qc
