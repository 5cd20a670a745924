#include "platform/appkit/ImageScaling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <numeric>
#include <utility>

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

// The two pixels that a pixel of an enlarged picture lies between, `first` counted from the one that it is a part of.
struct Between {
    // The pixel is number `phase` of those `factor` that one became.
    Between(int phase, int factor)
        : first(2 * phase + 1 < factor ? -1 : 0)
        , toSecond(unsigned((2 * phase + 1 - factor) * 128 / factor - first * 256))
    { }
    int first;
    unsigned toSecond; // of 256: how much of the second
};

// Each channel between `a` and `b`, four words at a time.
void mixWords(const std::uint32_t* a, const std::uint32_t* b, unsigned toB, std::uint32_t* out, std::size_t count)
{
    constexpr std::size_t kWords = 4;
    using Channels = std::uint8_t __attribute__((vector_size(4 * kWords)));
    using Products = std::uint16_t __attribute__((vector_size(8 * kWords)));
    const auto shareOfB = std::uint16_t(toB), shareOfA = std::uint16_t(256 - toB);
    const auto mix = [&](std::size_t k, std::size_t words) {
        Channels fromA{}, fromB{};
        std::memcpy(&fromA, a + k, words * sizeof *a);
        std::memcpy(&fromB, b + k, words * sizeof *b);
        const Products sum
            = __builtin_convertvector(fromA, Products) * shareOfA + __builtin_convertvector(fromB, Products) * shareOfB;
        const Channels mixed = __builtin_convertvector((sum + std::uint16_t(128)) >> 8, Channels);
        std::memcpy(out + k, &mixed, words * sizeof *out);
    };
    std::size_t done = 0;
    for (; done + kWords <= count; done += kWords)
        mix(done, kWords);
    if (done < count)
        mix(done, count - done);
}

// A row of pixels, `factor` times as wide. `room` is for words.
void enlargeRow(const std::uint32_t* from, std::size_t count, int factor, std::vector<std::uint32_t>& room,
    std::vector<std::uint32_t>& to)
{
    room.resize(2 * count + 2);
    std::copy_n(from, count, room.begin() + 1); // with a neighbour at each end
    room.front() = room[1];
    room[count + 1] = room[count];
    std::uint32_t* const mixed = room.data() + count + 2;
    const auto step = std::size_t(factor);
    for (int phase = 0; phase < factor; ++phase) {
        const Between between(phase, factor);
        const std::uint32_t* words = room.data() + 1 + between.first;
        mixWords(words, words + 1, between.toSecond, mixed, count);
        std::uint32_t* out = to.data() + phase;
        for (std::size_t k = 0; k < count; ++k)
            out[k * step] = mixed[k];
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

void enlarge(const Bitmap& from, int factor, std::uint32_t* to, int width, std::size_t wordsPerRow, int first, int end)
{
    const auto columns = std::size_t(from.width);
    // The two rows that the next lies between, already as wide as the result.
    std::vector<std::uint32_t> room, upper(columns * std::size_t(factor)), lower(upper.size());
    int upperRow = -1, lowerRow = -1;
    const auto fetch = [&](int row, std::vector<std::uint32_t>& into, int& number) {
        if (std::exchange(number, row) != row)
            enlargeRow(from.pixels.data() + std::size_t(row) * columns, columns, factor, room, into);
    };
    for (int y = first; y < end; ++y) {
        const Between between(y % factor, factor);
        const int row = y / factor + between.first;
        const int above = std::max(row, 0), below = std::min(row + 1, from.height - 1);
        if (lowerRow == above && upperRow != above) {
            upper.swap(lower);
            std::swap(upperRow, lowerRow);
        }
        fetch(above, upper, upperRow);
        fetch(below, lower, lowerRow);
        mixWords(upper.data(), lower.data(), between.toSecond, to + std::size_t(y) * wordsPerRow, std::size_t(width));
    }
}

} // namespace vitrel
