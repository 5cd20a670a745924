#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vitrel::qc {

// How little happens between the pixels of a picture.
struct Smoothness {
    // By how many of 255 steps, at the worst place, a pixel differs from the middle between those that lie 1, 2 and 4
    // pixels to both sides, across or up and down.
    static constexpr std::array<std::size_t, 3> kDistances{1, 2, 4};
    std::array<double, kDistances.size()> bend{255, 255, 255};
    int border = 255; // the largest channel of an outermost pixel, in steps of 255
};

// Of `width` by `height` pixels, rows without gaps. Any thread.
Smoothness smoothnessOf(std::span<const std::uint32_t> pixels, std::size_t width, std::size_t height);

// The worst that becomes of a picture with such pixels, in steps of 255, if it is drawn with one sample for every
// `distance` pixels and then made as large again, evenly from one sample to the next. 255 if that isn't known.
double lossOf(const Smoothness& smoothness, double distance);

} // namespace vitrel::qc
