#include "platform/quartzcomposer/patches/Pixels.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vitrel::qc {

namespace {

struct Span {
    int first;
    std::vector<float> weights;
};

// Which pixels of `from` make up each of `to`, by how much of them is covered.
std::vector<Span> spans(int from, int to)
{
    std::vector<Span> out;
    const double ratio = double(from) / to;
    for (int k = 0; k < to; ++k) {
        if (ratio > 1) {
            const double begin = k * ratio, end = begin + ratio;
            Span span{static_cast<int>(begin), {}};
            for (int at = span.first; at < std::min<double>(end, from); ++at)
                span.weights.push_back(
                    static_cast<float>((std::min(end, at + 1.0) - std::max(begin, double(at))) / ratio));
            out.push_back(span);
        } else {
            const double middle = std::clamp((k + 0.5) * ratio - 0.5, 0.0, from - 1.0);
            const int first = std::min(static_cast<int>(middle), std::max(from - 2, 0));
            const auto f = static_cast<float>(middle - first);
            out.push_back({first, from > 1 ? std::vector<float>{1 - f, f} : std::vector<float>{1}});
        }
    }
    return out;
}

} // namespace

NSColor straight(std::uint32_t pixel)
{
    const double alpha = pixel >> 24;
    if (alpha == 0)
        return {};
    const auto part = [&](int shift) { return std::min(1.0, (pixel >> shift & 255) / alpha); };
    return {part(16), part(8), part(0), alpha / 255};
}

Bitmap resampled(const Bitmap& from, int width, int height)
{
    if (from.width < 1 || from.height < 1 || width < 1 || height < 1)
        return {};
    const auto across = spans(from.width, width), down = spans(from.height, height);
    Bitmap out{
        width, height, std::vector<std::uint32_t>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height))};
    std::vector<std::array<float, 4>> row(static_cast<std::size_t>(from.width));
    for (int y = 0; y < height; ++y) {
        std::fill(row.begin(), row.end(), std::array<float, 4>{});
        for (std::size_t k = 0; k < down[y].weights.size(); ++k) {
            const std::uint32_t* line = from.pixels.data()
                + (static_cast<std::size_t>(down[y].first) + k) * static_cast<std::size_t>(from.width);
            const float weight = down[y].weights[k];
            for (std::size_t x = 0; x < row.size(); ++x) {
                for (int c = 0; c < 4; ++c)
                    row[x][static_cast<std::size_t>(c)] += weight * static_cast<float>(line[x] >> (8 * c) & 255);
            }
        }
        for (int x = 0; x < width; ++x) {
            std::array<float, 4> sum{};
            for (std::size_t k = 0; k < across[x].weights.size(); ++k) {
                for (std::size_t c = 0; c < 4; ++c)
                    sum[c] += across[x].weights[k] * row[static_cast<std::size_t>(across[x].first) + k][c];
            }
            std::uint32_t pixel = 0;
            for (std::size_t c = 0; c < 4; ++c)
                pixel |= static_cast<std::uint32_t>(std::clamp(sum[c] + 0.5f, 0.0f, 255.0f)) << (8 * c);
            out.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)]
                = pixel;
        }
    }
    return out;
}

Bitmap centred(const Bitmap& from, int width, int height)
{
    const int w = std::min(width, from.width), h = std::min(height, from.height), left = (from.width - w) / 2,
              top = (from.height - h) / 2;
    Bitmap out{w, h, {}};
    out.pixels.reserve(static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
    for (int y = 0; y < h; ++y) {
        const auto* line
            = from.pixels.data() + static_cast<std::size_t>(top + y) * static_cast<std::size_t>(from.width) + left;
        out.pixels.insert(out.pixels.end(), line, line + w);
    }
    return out;
}

} // namespace vitrel::qc
