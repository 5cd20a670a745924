// What a composition asks of the place that it is drawn on.
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

class ScreenInfoPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Rendering Destination Dimensions", "How large the picture is that is drawn on.",
            {{"outputWidth", "Its width, which is 2", kUnits}, {"outputHeight", "Its height", kUnits},
                {"outputRatio", "Its width, divided by its height"},
                {"outputResolution", "How many pixels a unit has", kPixels}, {"outputPixelsWide", "Its width", kPixels},
                {"outputPixelsHigh", "Its height", kPixels}}};
    }

private:
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
public:
    static PatchDescription description()
    {
        return {"Anchor Position",
            "Where something of a size must stand to lie at a corner, an edge or in the middle of the picture.",
            {{"inputMode", "Where it shall lie",
                 menu({"Top Left", "Top Centre", "Top Right", "Centre Left", "Centre", "Centre Right", "Bottom Left",
                     "Bottom Centre", "Bottom Right"})},
                {"inputX", "How far to the right of there", kUnits}, {"inputY", "How far above there", kUnits},
                {"inputWidth", "How wide the thing is that is placed", kSize}, {"inputHeight", "How high it is", kSize},
                {"outputX", "Where its middle must be, to the right", kUnits},
                {"outputY", "Where its middle must be, upwards", kUnits}}};
    }

private:
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
    registry.family("Sources");
    registry.add<ScreenInfoPatch>("QCScreenInfo");
    registry.add<AnchorPositionPatch>("QCAnchorPosition");
}

} // namespace vitrel::qc
