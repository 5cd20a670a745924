#include "platform/appkit/SmoothEnlarging.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace vitrel {

namespace {

constexpr std::size_t kOne = 4; // channels of a pixel
constexpr int kSteps = 16; // finer than those of a byte
// Of four pixels that one becomes, how much in eighths each has of the neighbour ahead of its place.
constexpr std::array<std::uint16_t, SmoothEnlarging::kFactor> kOfFirst{3, 1, 7, 5};

// An ordered pattern: each of sixteen thresholds once in four by four pixels, those near each other far apart.
constexpr std::array<std::array<std::uint16_t, 4>, 4> kThresholds{
    {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}}};

// Two pixels: as much as the plainest vectors hold.
using Two = std::uint16_t __attribute__((vector_size(16)));

Two loaded(const std::uint16_t* from)
{
    Two vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

Two twice(const std::uint16_t* pixel)
{
    std::uint64_t channels;
    std::memcpy(&channels, pixel, sizeof channels);
    using Halves = std::uint64_t __attribute__((vector_size(16)));
    return reinterpret_cast<Two>(Halves{channels, channels});
}

using Bytes = std::uint8_t __attribute__((vector_size(16)));

// Channels up to 255.
Bytes packed(Two first, Two second)
{
    return __builtin_shufflevector(reinterpret_cast<Bytes>(first), reinterpret_cast<Bytes>(second), 0, 2, 4, 6, 8, 10,
        12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
}

Two perPixel(std::uint16_t first, std::uint16_t second)
{
    return Two{first, first, first, first, second, second, second, second};
}

} // namespace

// What would come before `edge` if all went on as between it and `inner`.
void SmoothEnlarging::extend(Channel* beyond, const Channel* edge, const Channel* inner)
{
    int channels[kOne];
    for (std::size_t k = 0; k < kOne; ++k)
        channels[k] = std::clamp(2 * edge[k] - inner[k], 0, 255 * kSteps);
    for (std::size_t k = 0; k < kOne; ++k)
        beyond[k] = Channel(std::min(channels[k], channels[kOne - 1])); // no more colour than there is alpha
}

void SmoothEnlarging::take(const Bitmap& from)
{
    columns_ = from.width;
    rows_ = from.height;
    const auto columns = std::size_t(columns_), rows = std::size_t(rows_), row = columns * kOne,
               stride = row + 2 * kOne;
    channels_.resize((rows + 2) * stride);
    // One, two, one, up and down and then across: a sixteenth each, which is the finer step. The outermost stay.
    std::vector<Channel> sums(row);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(from.pixels.data());
    for (std::size_t y = 0; y < rows; ++y) {
        const std::uint8_t* const at = bytes + y * row;
        const bool isWithin = y > 0 && y + 1 < rows;
        const std::uint8_t *const above = isWithin ? at - row : at, *const below = isWithin ? at + row : at;
        for (std::size_t k = 0; k < row; ++k)
            sums[k] = Channel(above[k] + 2 * at[k] + below[k]);
        Channel* const out = channels_.data() + (y + 1) * stride + kOne;
        for (std::size_t k = 0; k < row; ++k)
            out[k] = Channel(4 * sums[k]);
        for (std::size_t k = kOne; k + kOne < row; ++k)
            out[k] = Channel(sums[k - kOne] + 2 * sums[k] + sums[k + kOne]);
        const std::size_t next = columns > 1 ? kOne : 0;
        extend(out - kOne, out, out + next);
        extend(out + row, out + row - kOne, out + row - kOne - next);
    }
    const std::size_t next = rows > 1 ? stride : 0;
    for (std::size_t k = 0; k < stride; k += kOne) {
        Channel* const first = channels_.data() + stride + k;
        Channel* const last = channels_.data() + rows * stride + k;
        extend(first - stride, first, first + next);
        extend(last + stride, last, last - next);
    }
}

// `to` has a row of the whole picture's width, and what goes beyond it of the last pixel.
void SmoothEnlarging::enlargeRow(int row, std::vector<Channel>& to) const
{
    const Two ofFirst[] = {perPixel(kOfFirst[0], kOfFirst[1]), perPixel(kOfFirst[2], kOfFirst[3])};
    const Channel* from = channels_.data() + std::size_t(row + 1) * (std::size_t(columns_) + 2) * kOne;
    Channel* out = to.data();
    for (int k = 0; k < columns_; ++k, from += kOne) {
        const Two before = twice(from), at = twice(from + kOne), after = twice(from + 2 * kOne);
        const Two left = (before * ofFirst[0] + at * (8 - ofFirst[0]) + 4) >> 3,
                  right = (at * ofFirst[1] + after * (8 - ofFirst[1]) + 4) >> 3;
        std::memcpy(out, &left, sizeof left);
        std::memcpy(out + 2 * kOne, &right, sizeof right);
        out += kFactor * kOne;
    }
}

void SmoothEnlarging::write(std::uint32_t* to, int width, int first, int end) const
{
    const std::size_t length = std::size_t(columns_) * kFactor * kOne;
    std::vector<Channel> upper(length), lower(length);
    int upperRow = -2, lowerRow = -2;
    const auto fetch = [&](int row, std::vector<Channel>& into, int& number) {
        if (std::exchange(number, row) != row)
            enlargeRow(row, into);
    };
    for (int y = first; y < end; ++y) {
        const int phase = y % kFactor, row = y / kFactor - (phase < kFactor / 2 ? 1 : 0);
        if (lowerRow == row && upperRow != row) {
            upper.swap(lower);
            std::swap(upperRow, lowerRow);
        }
        fetch(row, upper, upperRow);
        fetch(row + 1, lower, lowerRow);
        const std::uint16_t ofUpper = kOfFirst[std::size_t(phase)], ofLower = std::uint16_t(8 - ofUpper);
        const auto& thresholds = kThresholds[std::size_t(y % 4)];
        const Two leftThresholds = perPixel(thresholds[0], thresholds[1]) * 8,
                  rightThresholds = perPixel(thresholds[2], thresholds[3]) * 8;
        for (int x = 0; x < width; x += kFactor) {
            const Channel *a = &upper[std::size_t(x) * kOne], *b = &lower[std::size_t(x) * kOne];
            const Two left = (loaded(a) * ofUpper + loaded(b) * ofLower + leftThresholds) / (8 * kSteps),
                      right = (loaded(a + 8) * ofUpper + loaded(b + 8) * ofLower + rightThresholds) / (8 * kSteps);
            const Bytes bytes = packed(left, right);
            std::memcpy(to + x, &bytes, std::size_t(std::min(kFactor, width - x)) * sizeof *to);
        }
        to += width;
    }
}

} // namespace vitrel
