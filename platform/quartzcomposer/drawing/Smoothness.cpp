#include "platform/quartzcomposer/drawing/Smoothness.h"

#include <algorithm>
#include <cstdlib>

namespace vitrel::qc {

namespace {

// Twice the bend. Written so that compilers take many channels at once.
int bendOf(const std::uint8_t* before, const std::uint8_t* at, const std::uint8_t* after, std::size_t count)
{
    int most = 0;
    for (std::size_t k = 0; k < count; ++k)
        most = std::max(most, std::abs(2 * at[k] - before[k] - after[k]));
    return most;
}

} // namespace

Smoothness smoothnessOf(std::span<const std::uint32_t> pixels, std::size_t width, std::size_t height)
{
    Smoothness result;
    if (width < 1 || height < 1 || pixels.size() < width * height)
        return result;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(pixels.data());
    const std::size_t row = 4 * width;
    for (std::size_t n = 0; n < Smoothness::kDistances.size(); ++n) {
        const std::size_t d = Smoothness::kDistances[n];
        int most = 0;
        for (std::size_t y = 0; y < height; ++y) {
            const std::uint8_t* const at = bytes + y * row;
            if (width > 2 * d)
                most = std::max(most, bendOf(at, at + 4 * d, at + 8 * d, row - 8 * d));
            if (y >= d && y + d < height)
                most = std::max(most, bendOf(at - d * row, at, at + d * row, row));
        }
        result.bend[n] = most / 2.0;
    }
    result.border = 0;
    const auto note = [&](std::size_t pixel) {
        for (std::size_t k = 0; k < 4; ++k)
            result.border = std::max<int>(result.border, bytes[4 * pixel + k]);
    };
    for (std::size_t x = 0; x < width; ++x) {
        note(x);
        note((height - 1) * width + x);
    }
    for (std::size_t y = 0; y < height; ++y) {
        note(y * width);
        note(y * width + width - 1);
    }
    return result;
}

double lossOf(const Smoothness& smoothness, double distance)
{
    for (std::size_t n = 0; n < Smoothness::kDistances.size(); ++n) {
        if (distance / 2 <= double(Smoothness::kDistances[n]))
            return smoothness.bend[n];
    }
    return 255;
}

} // namespace vitrel::qc
