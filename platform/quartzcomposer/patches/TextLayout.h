#pragma once

#include "platform/appkit/Bitmap.h"

#include <memory>
#include <string>

namespace vitrel::qc {

enum class TextAlignment { Natural, Opposite, Centered, Justified };

// How a text is set; all lengths in pixels.
struct TextStyle {
    std::string fontName; // a PostScript name ("HelveticaNeue-Bold") or a family with a style ("Inter Light")
    std::string fontFeatures; // OpenType features as CSS has them ("tnum=1"); empty for the font's own
    double size = 12; // of the em
    double leading = 0; // added between lines
    double kerning = 0; // added between glyphs
    double width = 0; // of the box: lines wrap within it; 0: as wide as the text needs
    double height = 0; // of the box: lines that don't fit are cut at a word, with an ellipsis; 0: all lines
    bool cutsLines = false; // whole lines that don't fit are left out instead, so that the text can go on elsewhere
    TextAlignment horizontal = TextAlignment::Centered, vertical = TextAlignment::Centered;
};

struct SetText {
    std::shared_ptr<const Bitmap> bitmap; // white on nothing; null for no text
    int width = 0, height = 0;
    int lines = 0, glyphs = 0;
    int characters = 0; // of the text, from its start, that are shown
};

// Sets `text` (UTF-8 of any script) and draws it, shaped by Pango. Fonts that the machine lacks are replaced by close
// ones. At most 16,384 pixels a side, 16 million in all, and 100,000 characters. Main thread.
SetText setText(const std::string& text, const TextStyle& style);

// Reads the list of the machine's typefaces, for which the first text would otherwise wait. Any thread, any number of
// times.
void readTypefaces();

// The font families to try for a name, most fitting first, and its style in Pango's words; for tests.
std::string fontDescription(const std::string& name);

} // namespace vitrel::qc
