// What a composition asks of the place that it is drawn on.
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

class ScreenInfoPatch final : public Patch
{
    Output<double> width{*this, "outputWidth"}, height{*this, "outputHeight"}, ratio{*this, "outputRatio"},
        resolution{*this, "outputResolution"};
    Output<std::uint32_t> pixelsWide{*this, "outputPixelsWide"}, pixelsHigh{*this, "outputPixelsHigh"};

    Kind kind() const override { return Kind::Timed; } // the destination may change between frames
    void evaluate(Evaluation& e) override
    {
        width.set(2);
        height.set(e.stage.heightInUnits());
        ratio.set(e.stage.aspect());
        resolution.set(e.stage.canvas().width() / 2.0); // pixels per unit
        pixelsWide.set(static_cast<std::uint32_t>(e.stage.canvas().width()));
        pixelsHigh.set(static_cast<std::uint32_t>(e.stage.canvas().height()));
    }
};

class AnchorPositionPatch final : public Patch
{
    Input<std::uint32_t> mode{*this, "inputMode"};
    Input<double> offsetX{*this, "inputX"}, offsetY{*this, "inputY"}, width{*this, "inputWidth"},
        height{*this, "inputHeight"};
    Output<double> x{*this, "outputX"}, y{*this, "outputY"};

    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        const std::uint32_t place = std::min<std::uint32_t>(mode(), 8);
        const int column = static_cast<int>(place % 3) - 1, row = 1 - static_cast<int>(place / 3);
        x.set(column * (1 - width() / 2) + offsetX());
        y.set(row * (e.stage.heightInUnits() / 2 - height() / 2) + offsetY());
    }
};

} // namespace

void registerToolsPatches(PatchRegistry& registry)
{
    registry.add<ScreenInfoPatch>("QCScreenInfo");
    registry.add<AnchorPositionPatch>("QCAnchorPosition");
}

} // namespace vitrel::qc
