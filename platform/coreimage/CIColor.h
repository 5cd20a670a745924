#pragma once

#include "platform/foundation/Value.h"

namespace vitrel {

// Straight components as a screen has them (sRGB), 0 to 1.
struct CIColor {
    double red = 0, green = 0, blue = 0, alpha = 1;

    static CIColor initWithColor(const NSColor& color) { return {color.red, color.green, color.blue, color.alpha}; }
    friend bool operator==(const CIColor&, const CIColor&) = default;
};

} // namespace vitrel
