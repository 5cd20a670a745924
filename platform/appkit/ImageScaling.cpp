#include "platform/appkit/ImageScaling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <numeric>

namespace vitrel {

namespace {

using Channels = std::array<float, 4>;

// How a pixel of the source is shared between two neighbours of the result; it never reaches further, as the result
// has no more pixels than the source.
struct Share {
    std::size_t first;
    float toFirst, toNext;
};

std::vector<Share> sharesOf(int from, int to)
{
    std::vector<Share> shares;
    shares.reserve(std::size_t(from));
    for (int k = 0; k < from; ++k) {
        const double begin = double(k) * to / from, end = double(k + 1) * to / from;
        const double first = std::floor(begin), inFirst = std::min(end, first + 1) - begin;
        // Behind the last there is none; what rounding leaves over would land there.
        const double inNext = int(first) + 1 < to ? end - begin - inFirst : 0;
        shares.push_back({std::size_t(first), float(inFirst), float(inNext)});
    }
    return shares;
}

void add(Channels& sum, const Channels& channels, float weight)
{
    for (std::size_t k = 0; k < 4; ++k)
        sum[k] += channels[k] * weight;
}

void scaleRow(const std::uint32_t* words, const std::vector<Share>& columns, std::vector<Channels>& row)
{
    std::fill(row.begin(), row.end(), Channels{});
    for (const Share& column : columns) {
        const std::uint32_t word = *words++;
        const Channels channels{float(word & 255), float(word >> 8 & 255), float(word >> 16 & 255), float(word >> 24)};
        add(row[column.first], channels, column.toFirst);
        if (column.toNext > 0)
            add(row[column.first + 1], channels, column.toNext);
    }
}

std::uint32_t packed(const Channels& channels)
{
    std::uint32_t word = 0;
    for (std::size_t k = 0; k < 4; ++k)
        word |= std::uint32_t(std::clamp(channels[k] + 0.5f, 0.0f, 255.0f)) << 8 * k;
    return word;
}

// Four words of a row at a time.
void addWords(const std::uint32_t* words, std::uint32_t* redBlue, std::uint32_t* alphaGreen, std::size_t count)
{
    using Four = std::uint32_t __attribute__((vector_size(16)));
    constexpr Four kMask = {0xFF00FF, 0xFF00FF, 0xFF00FF, 0xFF00FF};
    const auto add = [](std::uint32_t* to, Four what) {
        Four sum;
        std::memcpy(&sum, to, sizeof sum);
        sum += what;
        std::memcpy(to, &sum, sizeof sum);
    };
    std::size_t k = 0;
    for (; k + 4 <= count; k += 4) {
        Four four;
        std::memcpy(&four, words + k, sizeof four);
        add(redBlue + k, four & kMask);
        add(alphaGreen + k, four >> 8 & kMask);
    }
    for (; k < count; ++k) {
        redBlue[k] += words[k] & 0xFF00FF;
        alphaGreen[k] += words[k] >> 8 & 0xFF00FF;
    }
}

} // namespace

std::optional<Bitmap> scaledToFit(const Bitmap& bitmap, int side)
{
    if (bitmap.width < 1 || bitmap.height < 1 || side < 1
        || bitmap.pixels.size() != std::size_t(bitmap.width) * std::size_t(bitmap.height))
        return std::nullopt;
    const int longest = std::max(bitmap.width, bitmap.height);
    if (longest <= side)
        return bitmap;
    const auto scaled = [&](int length) { return std::max(1, int(std::lround(double(length) * side / longest))); };
    Bitmap result{scaled(bitmap.width), scaled(bitmap.height), {}};
    const std::size_t width = std::size_t(result.width);
    result.pixels.resize(width * std::size_t(result.height));
    const auto columns = sharesOf(bitmap.width, result.width), rows = sharesOf(bitmap.height, result.height);
    // Premultiplied, all four channels are treated alike. Two rows of sums: the one being filled and the next.
    std::vector<Channels> row(width), sums(width), next(width);
    for (std::size_t y = 0; y < rows.size(); ++y) {
        scaleRow(bitmap.pixels.data() + y * columns.size(), columns, row);
        for (std::size_t x = 0; x < width; ++x) {
            add(sums[x], row[x], rows[y].toFirst);
            add(next[x], row[x], rows[y].toNext);
        }
        if (y + 1 < rows.size() && rows[y + 1].first == rows[y].first)
            continue;
        std::transform(sums.begin(), sums.end(), result.pixels.begin() + std::ptrdiff_t(rows[y].first * width), packed);
        sums.swap(next);
        std::fill(next.begin(), next.end(), Channels{});
    }
    return result;
}

Bitmap shrunkByBoxes(const Bitmap& bitmap, int left, int top, int width, int height, int columns, int rows)
{
    Bitmap result{(width + columns - 1) / columns, (height + rows - 1) / rows, {}};
    result.pixels.reserve(std::size_t(result.width) * std::size_t(result.height));
    // Two channels to a word: 16 bits hold the sum of 256 pixels. Rows first, as they lie in memory.
    const auto wide = static_cast<std::size_t>(width);
    std::vector<std::uint32_t> redBlue(wide, 0u), alphaGreen(wide, 0u);
    for (int y = 0; y < height; y += rows) {
        std::fill(redBlue.begin(), redBlue.end(), 0u);
        std::fill(alphaGreen.begin(), alphaGreen.end(), 0u);
        const int some = std::min(rows, height - y);
        for (int k = 0; k < some; ++k)
            addWords(bitmap.pixels.data() + std::size_t(top + y + k) * std::size_t(bitmap.width) + std::size_t(left),
                redBlue.data(), alphaGreen.data(), wide);
        for (int x = 0; x < width; x += columns) {
            const auto first = std::ptrdiff_t(x), last = std::ptrdiff_t(std::min(x + columns, width));
            const auto count = std::uint32_t(last - first) * std::uint32_t(some);
            const auto sum = [&](const std::vector<std::uint32_t>& words) {
                return std::accumulate(words.begin() + first, words.begin() + last, 0u);
            };
            const auto mean = [&](std::uint32_t total) { return ((total & 0xFFFF) + count / 2) / count; };
            const std::uint32_t rb = sum(redBlue), ag = sum(alphaGreen);
            result.pixels.push_back(mean(ag >> 16) << 24 | mean(rb >> 16) << 16 | mean(ag) << 8 | mean(rb));
        }
    }
    return result;
}

} // namespace vitrel
