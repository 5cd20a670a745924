#include "platform/appkit/ImageScaling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

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

} // namespace vitrel
