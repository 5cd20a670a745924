// Consumers that draw flat things: clearing, gradients, images, lines.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Drawing.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

class ClearPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return {"Clear", "Fills the picture with a colour, whatever was there, and forgets how far things were.",
            {{"inputColor", "The colour of the ground"}},
            {{"clearColorBuffer", DescribedSetting::Flag, "Whether the colour is filled; on without it"},
                {"clearDepthBuffer", DescribedSetting::Flag,
                    "Whether it is forgotten how far things were; on without it"}}};
    }

private:
    Input<NSColor> color{*this, "inputColor"};
    void configure(const Settings& settings) override
    {
        color_ = settings.flag("clearColorBuffer", true);
        depth_ = settings.flag("clearDepthBuffer", true);
    }
    void draw(Evaluation& e) override
    {
        const auto& raster = e.stage.environment().raster;
        if (!raster || !raster->scissor) {
            e.stage.canvas().clear(color(), color_, depth_, e.stage.environment().colorMask);
            return;
        }
        // A canvas clears as a whole; the colour of a part is painted.
        Paint paint;
        paint.blending = Blending::Replace;
        if (color_)
            e.stage.drawFlat(rectangle(2, e.stage.heightInUnits(), color()), {}, paint);
    }
    bool color_ = true, depth_ = true;
};

// Fills the destination, whatever the environment.
class GradientPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return {"Gradient", "Fills the picture with colours that run into each other.",
            {{"inputDirection", "Which way it runs", menu({"Upwards", "To the Right", "Downwards", "To the Left"})},
                {"inputBlending", kBlendingMeaning, blendings()},
                {"inputColor*", "The colour of this number on the way"},
                {"inputPosition*", "Where the colour of this number is, as a part of the way", kShare}},
            {{"numberOfPoints", DescribedSetting::Number, "How many colours; 2 without it", {"", 2, 64}},
                {"clearDepthBuffer", DescribedSetting::Flag, "Whether it is forgotten how far things were"}}};
    }

private:
    Input<std::uint32_t> direction{*this, "inputDirection"}, blending{*this, "inputBlending"};

    void configure(const Settings& settings) override
    {
        clearsDepth_ = settings.flag("clearDepthBuffer", false);
        const int points = static_cast<int>(std::clamp(settings.number("numberOfPoints", 2), 2.0, 64.0));
        for (int k = 1; k <= points; ++k) {
            const std::string n = std::to_string(k);
            colors_.push_back(&addInput("inputColor" + n, PortType::Color, NSColor{0, 0, 0, 1}));
            const bool inner = k > 1 && k < points;
            positions_.push_back(
                inner ? &addInput("inputPosition" + n, PortType::Number, double(k - 1) / (points - 1)) : nullptr);
        }
    }
    void draw(Evaluation& e) override
    {
        if (clearsDepth_)
            e.stage.canvas().clear({}, false, true, 0xF);
        const double height = e.stage.heightInUnits();
        const std::size_t last = colors_.size() - 1;
        std::vector<SolidVertex> corners;
        for (std::size_t k = 0; k < last; ++k) {
            const double from = k == 0 ? 0 : std::clamp(*positions_[k]->value().as<double>(), 0.0, 1.0);
            const double to = k + 1 == last ? 1 : std::clamp(*positions_[k + 1]->value().as<double>(), 0.0, 1.0);
            addBand(
                corners, from, to, *colors_[k]->value().as<NSColor>(), *colors_[k + 1]->value().as<NSColor>(), height);
        }
        Paint paint;
        paint.blending = blendingOf(blending());
        e.stage.drawFlat(corners, {}, paint);
    }
    // Upwards, to the right, downwards or to the left.
    void addBand(std::vector<SolidVertex>& corners, double from, double to, const NSColor& a, const NSColor& b,
        double height) const
    {
        const auto corner = [&](double along, double across, const NSColor& color) {
            SolidVertex v;
            const bool vertical = direction() == 0 || direction() == 2 || direction() > 3;
            const double way = direction() == 2 || direction() == 3 ? 1 - along : along;
            v.position = {(vertical ? across : way) * 2 - 1, ((vertical ? way : across) - 0.5) * height, 0};
            v.color = color;
            return v;
        };
        const SolidVertex p = corner(from, 0, a), q = corner(from, 1, a), r = corner(to, 1, b), s = corner(to, 0, b);
        corners.insert(corners.end(), {p, q, r, p, r, s});
    }
    bool clearsDepth_ = false;
    std::vector<InputPort*> colors_, positions_;
};

class BillboardPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return {"Billboard", "An image that faces the viewer, pixel for pixel or as large as it is told.",
            {{"inputImage", "What is shown; without it nothing is"},
                {"inputMask", "An image that makes it as opaque as it is bright"},
                {"inputX", "Where its middle is, to the right", kUnits}, {"inputY", "Where it is, upwards", kUnits},
                {"inputRotation", "Its turn, counter-clockwise", kDegrees}, {"inputColor", kColorMeaning},
                {"inputBlending", kBlendingMeaning, blendings()},
                {"inputPixelAligned", "Whether its edges lie on those of pixels, so that it is sharp"},
                {"_inputInteraction", "What lets it be dragged"},
                {"inputScale", "Of the sizes autoHeight and autoWidth: how wide it is, or how high", kUnits},
                {"inputWidth", "Of the size custom: how wide it is", kUnits},
                {"inputHeight", "Of the size custom: how high it is", kUnits}},
            {{"sizeMode", DescribedSetting::Text,
                "How large it is: pixel for pixel, by its width (autoHeight), by its height (autoWidth), or by both; "
                "real "
                "without it",
                {}, {"real", "autoHeight", "autoWidth", "custom"}}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"}, mask{*this, "inputMask"};
    Input<double> x{*this, "inputX"}, y{*this, "inputY"}, rotation{*this, "inputRotation"};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<std::uint32_t> blending{*this, "inputBlending", 1};
    Input<bool> pixelAligned{*this, "inputPixelAligned", true};
    InputPort& interaction = addInput("_inputInteraction", PortType::Interaction, {});

    void configure(const Settings& settings) override
    {
        const std::string mode = settings.text("sizeMode", "real");
        mode_ = mode == "autoHeight" ? AutoHeight : mode == "autoWidth" ? AutoWidth : mode == "custom" ? Custom : Real;
        if (mode_ == AutoHeight || mode_ == AutoWidth)
            scale_ = &addInput("inputScale", PortType::Number, 1.0);
        if (mode_ == Custom) {
            width_ = &addInput("inputWidth", PortType::Number, 1.0);
            height_ = &addInput("inputHeight", PortType::Number, 1.0);
        }
    }
    void draw(Evaluation& e) override
    {
        const Extent extent = image() ? image()->extent() : Extent{};
        if (!image() || extent.empty() || color().alpha <= 0)
            return;
        Stage& stage = e.stage;
        const double pixel = stage.unitsPerPixel();
        double width = extent.infinite ? 2 : extent.width * pixel,
               height = extent.infinite ? stage.heightInUnits() : extent.height * pixel;
        const double ratio = height > 0 ? width / height : 1;
        if (mode_ == AutoHeight) {
            width = *scale_->value().as<double>();
            height = width / ratio;
        } else if (mode_ == AutoWidth) {
            height = *scale_->value().as<double>();
            width = height * ratio;
        } else if (mode_ == Custom) {
            width = *width_->value().as<double>();
            height = *height_->value().as<double>();
        }
        const Vec3 centre = stage.projected({x(), y(), 0});
        double left = centre.x - width / 2, bottom = centre.y - height / 2;
        if (pixelAligned() && rotation() == 0) {
            const auto snapped
                = [pixel](double edge, double border) { return std::round((edge + border) / pixel) * pixel - border; };
            left = snapped(left, 1);
            bottom = snapped(bottom, stage.heightInUnits() / 2);
        }
        Paint paint;
        paint.image = image();
        paint.mask = mask();
        paint.blending = blendingOf(blending());
        paint.nearest = mode_ == Real && pixelAligned() && rotation() == 0 && !extent.infinite && !mask();
        const Matrix place
            = Matrix::translation(left + width / 2, bottom + height / 2, 0) * Matrix::rotation(2, rotation());
        stage.drawFlat(rectangle(width, height, color()), place, paint);
    }
    enum Mode { Real, AutoHeight, AutoWidth, Custom } mode_ = Real;
    InputPort *scale_ = nullptr, *width_ = nullptr, *height_ = nullptr;
};

class SpritePatch final : public SolidPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Sprite", "A rectangle or an image at a place in space.",
            {{"inputWidth", "How wide it is", kUnits}, {"inputHeight", "How high it is", kUnits},
                {"inputColor", kColorMeaning}, {"inputImage", "What is shown; without it the colour alone"},
                {"inputMask", "An image that makes it as opaque as it is bright"},
                {"_inputInteraction", "What lets it be dragged"}}}
            .with(placePorts())
            .with(Modes::ports());
    }

private:
    Input<double> width{*this, "inputWidth", 1}, height{*this, "inputHeight", 1};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<ImageRef> image{*this, "inputImage"}, mask{*this, "inputMask"};
    Modes modes{*this, 1, 1, 0};
    InputPort& interaction = addInput("_inputInteraction", PortType::Interaction, {});

    void draw(Evaluation& e) override
    {
        if (width() == 0 || height() == 0)
            return;
        Paint paint = modes.paint();
        if (color().alpha <= 0 && paint.blending == Blending::Over && paint.depth != DepthTest::ReadWrite)
            return;
        paint.image = image();
        paint.mask = mask();
        e.stage.draw(Primitive::Triangles, rectangle(width(), height(), color()), place(), paint);
    }
};

class LinePatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return {"Line", "A line in space, from one colour to another.",
            {{"inputStartX|inputStartY|inputStartZ", "Where it starts, along this axis", kUnits},
                {"inputEndX|inputEndY|inputEndZ", "Where it ends, along this axis", kUnits},
                {"inputStartColor", "The colour of its start"}, {"inputEndColor", "The colour of its end"},
                {"inputLineWidth", "How wide it is", {"pixels", 1, 64}},
                {"inputZBuffer", kDepthMeaning, depthTests()}}};
    }

private:
    Input<double> startX{*this, "inputStartX"}, startY{*this, "inputStartY"}, startZ{*this, "inputStartZ"};
    Input<NSColor> startColor{*this, "inputStartColor", {1, 1, 1, 1}};
    Input<double> endX{*this, "inputEndX"}, endY{*this, "inputEndY"}, endZ{*this, "inputEndZ"};
    Input<NSColor> endColor{*this, "inputEndColor", {1, 1, 1, 1}};
    Input<double> lineWidth{*this, "inputLineWidth", 1};
    Input<std::uint32_t> depth{*this, "inputZBuffer", 1};

    void draw(Evaluation& e) override
    {
        Paint paint;
        paint.depth = depthOf(depth());
        paint.lineWidth = static_cast<float>(std::clamp(lineWidth(), 1.0, 64.0));
        SolidVertex from, to;
        from.position = {startX(), startY(), startZ()};
        from.color = startColor();
        to.position = {endX(), endY(), endZ()};
        to.color = endColor();
        const SolidVertex line[] = {from, to};
        e.stage.draw(Primitive::Lines, line, {}, paint);
    }
};

// A number in a corner helps authors; a saver leaves it out.
class FPSDisplayPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return {"FPS Display", "A number in a corner for authors; here it draws nothing.",
            {{"inputMode", "What is told", menu({"Weighted Average", "Last Second Average", "Last Second Minimum"})}}};
    }

private:
    Input<std::uint32_t> mode{*this, "inputMode"};
    void draw(Evaluation&) override { }
};

} // namespace

void registerRenderersPatches(PatchRegistry& registry)
{
    registry.family("Drawing");
    registry.add<ClearPatch>("QCClear");
    registry.add<GradientPatch>("QCGradient");
    registry.add<BillboardPatch>("QCBillboard");
    registry.add<SpritePatch>("QCSprite");
    registry.add<LinePatch>("QCLine");
    registry.add<FPSDisplayPatch>("QCFPSDisplay");
}

} // namespace vitrel::qc
