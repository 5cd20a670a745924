// Text as an image.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/TextLayout.h"

#include <cmath>

namespace vitrel::qc {

namespace {

TextAlignment alignmentOf(const std::string& name, TextAlignment usual)
{
    return name == "Normal"   ? TextAlignment::Natural
        : name == "Opposite"  ? TextAlignment::Opposite
        : name == "Centered"  ? TextAlignment::Centered
        : name == "Justified" ? TextAlignment::Justified
                              : usual;
}

class TextImagePatch final : public Patch
{
    Input<std::string> text{*this, "inputString"}, fontName{*this, "inputFontName", "LucidaGrande"};
    Input<double> size{*this, "inputGlyphSize", 0.1}, leading{*this, "inputLeading"}, kerning{*this, "inputKerning"},
        width{*this, "inputWidth"}, height{*this, "inputHeight"};
    Output<ImageRef> image{*this, "outputImage"};
    Output<double> outputWidth{*this, "outputWidth"}, outputHeight{*this, "outputHeight"};
    Output<std::uint32_t> lines{*this, "outputLineCount"}, glyphs{*this, "outputGlyphCount"};

    void configure(const Settings& settings) override
    {
        inPixels_ = settings.flag("manualLayout", false);
        style_.fontFeatures = settings.text("fontFeatures");
        style_.horizontal = alignmentOf(settings.text("horizontalAlignment"), TextAlignment::Centered);
        style_.vertical = alignmentOf(settings.text("verticalAlignment"), TextAlignment::Centered);
        // Copies that older files have in place of the ports.
        if (const auto* name = settings.find("fontName") ? settings.find("fontName")->as<std::string>() : nullptr)
            fontName.port().set(*name);
        size.port().set(settings.number("fontSize", 0.1));
    }
    Kind kind() const override { return Kind::Timed; } // units depend on the destination
    void evaluate(Evaluation& e) override
    {
        const int targetWidth = inPixels_ ? 0 : e.stage.canvas().width();
        const TextStyle asked = style(e);
        if (drawn_ && targetWidth == targetWidth_ && text() == text_ && same(asked, style_))
            return;
        if (!roomForImages())
            return;
        drawn_ = true;
        targetWidth_ = targetWidth;
        text_ = text();
        style_ = asked;
        const SetText set = setText(text_, style_);
        image.set(ownImage(set.bitmap));
        outputWidth.set(set.width * e.stage.unitsPerPixel());
        outputHeight.set(set.height * e.stage.unitsPerPixel());
        lines.set(static_cast<std::uint32_t>(set.lines));
        glyphs.set(static_cast<std::uint32_t>(set.glyphs));
    }

    TextStyle style(const Evaluation& e) const
    {
        const double unit = inPixels_ ? 1 : 1 / e.stage.unitsPerPixel();
        const auto pixels = [unit](double length) { return std::isfinite(length) ? length * unit : 0; };
        TextStyle style = style_;
        style.fontName = fontName();
        style.size = pixels(size());
        style.leading = pixels(leading());
        style.kerning = pixels(kerning());
        style.width = pixels(width());
        style.height = pixels(height());
        return style;
    }
    static bool same(const TextStyle& a, const TextStyle& b)
    {
        return a.fontName == b.fontName && a.size == b.size && a.leading == b.leading && a.kerning == b.kerning
            && a.width == b.width && a.height == b.height;
    }

    bool inPixels_ = false, drawn_ = false;
    int targetWidth_ = 0;
    std::string text_;
    TextStyle style_;
};

} // namespace

void registerTextsPatches(PatchRegistry& registry)
{
    registry.add<TextImagePatch>("QCTextImage");
}

} // namespace vitrel::qc
