#pragma once

#include <cstdint>

namespace vitrel {

// Blue, green, red, alpha: linear light, premultiplied. As one register of the processor.
using Lanes = float __attribute__((vector_size(16)));

struct Pixel {
    Lanes lanes;
    float alpha() const { return lanes[3]; }
};

inline constexpr Lanes kClear = {0, 0, 0, 0};

// From and to the words of a Bitmap (0xAARRGGBB, premultiplied in encoded light). What was unpacked and is packed again
// is the same.
Pixel unpacked(std::uint32_t word);
std::uint32_t packed(const Pixel& pixel);
void unpackRow(const std::uint32_t* words, Pixel* pixels, int count);
void packRow(const Pixel* pixels, std::uint32_t* words, int count);

// sRGB's curve; 0 to 1.
double linearLight(double encoded);

} // namespace vitrel
