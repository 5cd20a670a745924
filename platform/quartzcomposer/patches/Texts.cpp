// Text as an image.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/TextLayout.h"

#include <algorithm>
#include <cmath>
#include <list>

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
public:
    static PatchDescription description()
    {
        const std::vector<const char*> places{"Normal", "Opposite", "Centered", "Justified"};
        return {"Image With String", "An image of a text, white on nothing; a billboard colours it.",
            {{"inputString", "The text"}, {"inputFontName", "The font: a PostScript name, or a family and a style"},
                {"inputGlyphSize", "The size of its letters; in pixels if the layout is manual", kSize},
                {"inputLeading", "How much further apart lines are; in pixels if the layout is manual", kUnits},
                {"inputKerning", "How much further apart letters are; in pixels if the layout is manual", kUnits},
                {"inputWidth", "The width at which lines wrap, 0 for none; in pixels if the layout is manual", kSize},
                {"inputHeight", "The height at which it is cut, 0 for none; in pixels if the layout is manual", kSize},
                {"outputImage", "The text as an image"},
                {"outputWidth", "How wide it is where each of its pixels is one of the picture", kUnits},
                {"outputHeight", "How high it is where each of its pixels is one of the picture", kUnits},
                {"outputLineCount", "How many lines it has"}, {"outputGlyphCount", "How many glyphs it has"},
                {"outputCharacterCount", "How many characters of the text it shows, from its start on"}},
            {{"manualLayout", DescribedSetting::Flag, "Whether all its lengths are in pixels, not in units"},
                {"cutLines", DescribedSetting::Flag,
                    "Whether lines that don't fit in its height are left out whole, without an ellipsis, so that the "
                    "text can go on in another image"},
                {"fontFeatures", DescribedSetting::Text, "Features of the font; a setting of this player's own", {}, {},
                    R"("tnum=1")"},
                {"horizontalAlignment", DescribedSetting::Text,
                    "Where lines stand: Normal at their start, Opposite at their end; Centered without it", {}, places},
                {"verticalAlignment", DescribedSetting::Text,
                    "Where it stands in its height: Normal at the top, Opposite at the bottom; Centered without it", {},
                    places},
                {"fontName", DescribedSetting::Text, "What older files have for inputFontName"},
                {"fontSize", DescribedSetting::Number, "What older files have for inputGlyphSize", kSize}}};
    }

private:
    Input<std::string> text{*this, "inputString"}, fontName{*this, "inputFontName", "LucidaGrande"};
    Input<double> size{*this, "inputGlyphSize", 0.1}, leading{*this, "inputLeading"}, kerning{*this, "inputKerning"},
        width{*this, "inputWidth"}, height{*this, "inputHeight"};
    Output<ImageRef> image{*this, "outputImage"};
    Output<double> outputWidth{*this, "outputWidth"}, outputHeight{*this, "outputHeight"};
    Output<std::uint32_t> lines{*this, "outputLineCount"}, glyphs{*this, "outputGlyphCount"},
        characters{*this, "outputCharacterCount"};

    void configure(const Settings& settings) override
    {
        inPixels_ = settings.flag("manualLayout", false);
        style_.cutsLines = settings.flag("cutLines", false);
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
        const TextStyle asked = style(e);
        auto drawn = std::find_if(
            drawn_.begin(), drawn_.end(), [&](const Drawn& d) { return d.text == text() && same(asked, d.style); });
        if (drawn == drawn_.end()) {
            if (!roomForImages())
                return;
            SetText set = setText(text(), asked);
            drawn_.push_front({text(), asked, ownImage(std::move(set.bitmap)), set.width, set.height, set.lines,
                set.glyphs, set.characters});
            drawn = drawn_.begin();
            // In an iterator each iteration has a text of its own, which it has again in the next frame.
            while (drawn_.size() > (scope && scope->iterates ? kMostKept : 1))
                drawn_.pop_back();
        } else {
            drawn_.splice(drawn_.begin(), drawn_, drawn);
        }
        image.set(drawn->image);
        outputWidth.set(drawn->width * e.stage.unitsPerPixel());
        outputHeight.set(drawn->height * e.stage.unitsPerPixel());
        lines.set(static_cast<std::uint32_t>(drawn->lines));
        glyphs.set(static_cast<std::uint32_t>(drawn->glyphs));
        characters.set(static_cast<std::uint32_t>(drawn->characters));
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

    struct Drawn {
        std::string text;
        TextStyle style;
        ImageRef image;
        int width, height, lines, glyphs, characters;
    };
    static constexpr std::size_t kMostKept = 64;
    bool inPixels_ = false;
    TextStyle style_; // what the settings say
    std::list<Drawn> drawn_; // the latest first
};

} // namespace

void registerTextsPatches(PatchRegistry& registry)
{
    registry.family("Images");
    registry.add<TextImagePatch>("QCTextImage");
}

} // namespace vitrel::qc
