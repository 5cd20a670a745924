#include "platform/quartzcomposer/patches/TextLayout.h"

#include "base/Text.h"

#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace vitrel::qc {

namespace {

constexpr int kMaxSide = 16384; // renderers have no larger textures
constexpr double kMaxPixels = 16e6;
constexpr std::size_t kMaxText = 100'000;
constexpr double kMaxFont = 2000;

template <class T, void (*Free)(T*)> struct Freer {
    void operator()(T* object) const { Free(object); }
};
void unref(void* object)
{
    g_object_unref(object);
}
struct Unref {
    void operator()(void* object) const { unref(object); }
};
using Layout = std::unique_ptr<PangoLayout, Unref>;

PangoContext* context()
{
    // One for the life of the process: making one reads the list of fonts.
    static PangoContext* const shared = [] {
        PangoContext* made = pango_font_map_create_context(pango_cairo_font_map_get_default());
        cairo_font_options_t* options = cairo_font_options_create();
        // Text moves and is scaled: hinting to a grid would make it tremble.
        cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
        cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
        cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
        pango_cairo_context_set_font_options(made, options);
        cairo_font_options_destroy(options);
        pango_cairo_context_set_resolution(made, 72);
        pango_context_set_round_glyph_positions(made, false);
        return made;
    }();
    return shared;
}

int units(double pixels)
{
    return static_cast<int>(std::lround(std::clamp(pixels, 0.0, 100'000.0) * PANGO_SCALE));
}

Layout layoutOf(const std::string& text, const TextStyle& style)
{
    Layout layout(pango_layout_new(context()));
    PangoFontDescription* font = pango_font_description_from_string(fontDescription(style.fontName).c_str());
    pango_font_description_set_absolute_size(font, std::max(1, units(std::min(style.size, kMaxFont))));
    pango_layout_set_font_description(layout.get(), font);
    pango_font_description_free(font);
    PangoAttrList* attributes = pango_attr_list_new();
    if (style.kerning != 0)
        pango_attr_list_insert(attributes,
            pango_attr_letter_spacing_new(static_cast<int>(std::clamp(style.kerning, -1000.0, 1000.0) * PANGO_SCALE)));
    if (!style.fontFeatures.empty())
        pango_attr_list_insert(attributes, pango_attr_font_features_new(style.fontFeatures.c_str()));
    pango_layout_set_attributes(layout.get(), attributes);
    pango_attr_list_unref(attributes);
    pango_layout_set_spacing(layout.get(), static_cast<int>(std::clamp(style.leading, -1000.0, 1000.0) * PANGO_SCALE));
    pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_alignment(layout.get(),
        style.horizontal == TextAlignment::Opposite       ? PANGO_ALIGN_RIGHT
            : style.horizontal == TextAlignment::Centered ? PANGO_ALIGN_CENTER
                                                          : PANGO_ALIGN_LEFT);
    pango_layout_set_justify(layout.get(), style.horizontal == TextAlignment::Justified);
    pango_layout_set_width(layout.get(), style.width > 0 ? std::min(units(style.width), kMaxSide * PANGO_SCALE) : -1);
    pango_layout_set_text(layout.get(), text.c_str(), static_cast<int>(text.size()));
    return layout;
}

bool fits(PangoLayout* layout, double height)
{
    PangoRectangle logical;
    pango_layout_get_extents(layout, nullptr, &logical);
    return logical.height <= units(height + 0.5) || pango_layout_get_line_count(layout) <= 1;
}

int charactersOf(const std::string& text, std::size_t bytes)
{
    return static_cast<int>(g_utf8_strlen(text.c_str(), static_cast<gssize>(std::min(bytes, text.size()))));
}

// A word without an end is broken at each line anew, in a time that grows with the square of its length. So a place to
// break, which takes no room, follows each so many letters; CJK breaks everywhere, and doesn't mind.
constexpr int kMostUnbroken = 200;
constexpr std::string_view kBreak = "\u200B";

std::string withBreaks(const std::string& text)
{
    std::string out;
    int letters = 0;
    for (const char* at = text.c_str(); at < text.c_str() + text.size();) {
        const char* next = g_utf8_next_char(at);
        letters = g_unichar_isspace(g_utf8_get_char(at)) ? 0 : letters + 1;
        if (letters > kMostUnbroken) {
            out += kBreak;
            letters = 1;
        }
        out.append(at, next);
        at = next;
    }
    return out;
}

// The lines that fit, and no more. Sets the layout to them; gives how many bytes of the text they have, with the white
// space at their end.
std::size_t cutAtLine(PangoLayout* layout, const std::string& text, double height)
{
    std::size_t end = 0;
    PangoLayoutIter* at = pango_layout_get_iter(layout);
    do {
        PangoRectangle logical;
        pango_layout_iter_get_line_extents(at, nullptr, &logical);
        const PangoLayoutLine* line = pango_layout_iter_get_line_readonly(at);
        if (end > 0 && logical.y + logical.height > units(height + 0.5))
            break;
        end = static_cast<std::size_t>(line->start_index + line->length);
    } while (pango_layout_iter_next_line(at));
    pango_layout_iter_free(at);
    std::size_t shown = end;
    while (end < text.size() && g_unichar_isspace(g_utf8_get_char(text.c_str() + end)))
        end = static_cast<std::size_t>(g_utf8_next_char(text.c_str() + end) - text.c_str());
    while (shown > 0 && (text[shown - 1] == ' ' || text[shown - 1] == '\n'))
        --shown;
    pango_layout_set_text(layout, text.c_str(), static_cast<int>(shown));
    return end;
}

// The longest start of the text that fits, ended by an ellipsis behind a whole word. Sets the layout to it; gives how
// many bytes of the text it has.
std::size_t cutAtWord(PangoLayout* layout, const std::string& text, double height)
{
    int count = 0;
    const PangoLogAttr* marks = pango_layout_get_log_attrs_readonly(layout, &count);
    std::vector<std::size_t> ends; // byte positions behind words
    const char* at = text.c_str();
    for (int k = 0; k < count; ++k) {
        if (marks[k].is_word_end)
            ends.push_back(static_cast<std::size_t>(at - text.c_str()));
        if (k + 1 < count)
            at = g_utf8_next_char(at);
    }
    std::size_t low = 0, high = ends.size(); // ends[low - 1] is known to fit
    const auto show = [&](std::size_t words) {
        const std::string head = (words ? text.substr(0, ends[words - 1]) : std::string()) + "\u2026";
        pango_layout_set_text(layout, head.c_str(), static_cast<int>(head.size()));
    };
    while (low < high) {
        const std::size_t middle = (low + high + 1) / 2;
        show(middle);
        if (fits(layout, height))
            low = middle;
        else
            high = middle - 1;
    }
    show(low);
    return low > 0 ? ends[low - 1] : 0;
}

SetText drawn(PangoLayout* layout, const TextStyle& style)
{
    PangoRectangle ink, logical;
    pango_layout_get_pixel_extents(layout, &ink, &logical);
    const int fullWidth = style.width > 0 ? static_cast<int>(std::ceil(style.width)) : logical.width;
    const int fullHeight = style.height > 0 ? static_cast<int>(std::ceil(style.height)) : logical.height;
    SetText result;
    result.width = std::clamp(fullWidth, 1, kMaxSide);
    result.height = std::clamp(fullHeight, 1, std::min(kMaxSide, static_cast<int>(kMaxPixels / result.width)));
    result.lines = pango_layout_get_line_count(layout);
    result.glyphs = pango_layout_get_character_count(layout);
    const double slack = result.height - logical.height;
    const double top = style.vertical == TextAlignment::Opposite ? slack
        : style.vertical == TextAlignment::Centered              ? slack / 2
                                                                 : 0;

    auto bitmap = std::make_shared<Bitmap>(Bitmap{result.width, result.height,
        std::vector<std::uint32_t>(static_cast<std::size_t>(result.width) * static_cast<std::size_t>(result.height))});
    cairo_surface_t* surface
        = cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(bitmap->pixels.data()),
            CAIRO_FORMAT_ARGB32, result.width, result.height, result.width * 4);
    cairo_t* cairo = cairo_create(surface);
    cairo_set_source_rgb(cairo, 1, 1, 1);
    // Whole pixels: a baseline between two rows is a blurred one.
    cairo_move_to(cairo, style.width > 0 ? 0 : -logical.x, std::round(std::max(top, 0.0)) - logical.y);
    pango_cairo_show_layout(cairo, layout);
    cairo_destroy(cairo);
    cairo_surface_finish(surface);
    cairo_surface_destroy(surface);
    result.bitmap = std::move(bitmap);
    return result;
}

struct StyleWord {
    const char* postScript;
    const char* pango;
};
constexpr StyleWord kStyleWords[] = {{"UltraLight", "Ultra-Light"}, {"ExtraLight", "Ultra-Light"}, {"Thin", "Thin"},
    {"SemiBold", "Semi-Bold"}, {"Semibold", "Semi-Bold"}, {"DemiBold", "Semi-Bold"}, {"ExtraBold", "Ultra-Bold"},
    {"CondensedBold", "Condensed Bold"}, {"CondensedBlack", "Condensed Heavy"}, {"Condensed", "Condensed"},
    {"Bold", "Bold"}, {"Black", "Heavy"}, {"Heavy", "Heavy"}, {"Medium", "Medium"}, {"Light", "Light"},
    {"Italic", "Italic"}, {"Oblique", "Italic"}, {"Ital", "Italic"}, {"Regular", ""}, {"Roman", ""}};

// Families of that platform and what is like them here.
struct Substitute {
    const char* start;
    const char* families;
};
constexpr Substitute kSubstitutes[] = {{"Helvetica", "Inter,Helvetica,Arimo,Liberation Sans"},
    {"Lucida", "Inter,DejaVu Sans"}, {"Arial", "Arial,Liberation Sans,Arimo"},
    {"Tahoma", "Tahoma,DejaVu Sans Condensed,Inter"}, {"Gill", "Gill Sans,Cabin,Inter"},
    {"Courier", "Courier New,Liberation Mono,Noto Sans Mono,Monospace"},
    {"Andale", "Noto Sans Mono,DejaVu Sans Mono,Monospace"}, {"Monaco", "Noto Sans Mono,DejaVu Sans Mono,Monospace"},
    {"Menlo", "DejaVu Sans Mono,Noto Sans Mono,Monospace"},
    {"Times", "Times New Roman,Liberation Serif,Noto Serif,Serif"}, {"Georgia", "Georgia,Gelasio,Noto Serif,Serif"}};

} // namespace

void readTypefaces()
{
    FcInit();
}

std::string fontDescription(const std::string& name)
{
    const auto dash = name.find('-');
    std::string family, style, rest = dash == std::string::npos ? std::string() : name.substr(dash + 1);
    const std::string given = name.substr(0, dash);
    for (std::size_t k = 0; k < given.size(); ++k) { // HelveticaNeue is "Helvetica Neue"
        const bool word = k > 0 && given[k] >= 'A' && given[k] <= 'Z' && given[k - 1] >= 'a' && given[k - 1] <= 'z';
        if (given[k] != ',') // a comma would begin another family
            family += (word ? " " : "") + std::string(1, given[k]);
    }
    while (!rest.empty()) {
        bool found = false;
        for (const StyleWord& word : kStyleWords) {
            if (rest.starts_with(word.postScript)) {
                style += std::string(word.pango[0] ? " " : "") + word.pango;
                rest.erase(0, std::strlen(word.postScript));
                found = true;
                break;
            }
        }
        if (!found)
            rest.erase(0, 1);
    }
    if (family.empty())
        family = "Inter";
    std::string families = family;
    for (const Substitute& substitute : kSubstitutes) {
        if (family.starts_with(substitute.start))
            families += "," + std::string(substitute.families);
    }
    return families + ",Inter,Noto Sans,Sans" + "," + style;
}

SetText setText(const std::string& text, const TextStyle& style)
{
    if (text.empty() || !(style.size > 0))
        return {};
    std::string sound = repairedUtf8(text.size() > kMaxText ? text.substr(0, kMaxText) : text);
    sound.erase(std::remove(sound.begin(), sound.end(), '\0'), sound.end());
    const std::size_t given = sound.size();
    if (style.width > 0)
        sound = withBreaks(sound);
    const Layout layout = layoutOf(sound, style);
    std::size_t shown = sound.size();
    if (style.height > 0 && !fits(layout.get(), style.height))
        shown = style.cutsLines ? cutAtLine(layout.get(), sound, style.height)
                                : cutAtWord(layout.get(), sound, style.height);
    SetText set = drawn(layout.get(), style);
    set.characters = charactersOf(sound, shown);
    if (sound.size() > given) { // less the breaks, each a character of its own
        for (auto at = sound.find(kBreak); at < shown; at = sound.find(kBreak, at + kBreak.size()))
            --set.characters;
    }
    return set;
}

} // namespace vitrel::qc
