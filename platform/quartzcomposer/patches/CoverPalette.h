#pragma once

#include "platform/appkit/Bitmap.h"
#include "platform/quartzcomposer/patches/OKLab.h"

namespace vitrel::qc {

// Colours that go with a cover. All but the last two have been chosen for what they are on `ground`, which is dark.
struct CoverPalette {
    NSColor ground, key, second;
    NSColor ink; // of words
    NSColor keyText; // the key, light enough for small words on the ground
    bool isGrey = true; // the cover has no colour: the palette's own stand in
};

// Without a cover, or for one that is clear throughout, a grey one. The same cover gives the same colours.
CoverPalette coverPalette(const Bitmap* cover);

} // namespace vitrel::qc
