#pragma once

#include <cstdint>
#include <vector>

namespace vitrel {

// Decoded pixels: words 0xAARRGGBB, premultiplied, sRGB, rows without gaps, top row first: the layout of Cairo's
// ARGB32 and of the renderer's textures, so that nothing is converted on the way.
struct Bitmap {
    int width = 0, height = 0;
    std::vector<std::uint32_t> pixels;
};

} // namespace vitrel
