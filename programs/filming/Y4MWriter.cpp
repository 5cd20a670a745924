#include "programs/filming/Y4MWriter.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace vitrel {

namespace {

constexpr std::string_view kFrame = "FRAME\n";

struct Weights {
    int red, green, blue;
};
// ITU-R BT.601, from 0 to 255 to 16 to 235 (luma) and 16 to 240 (chroma), in 65536ths.
constexpr Weights kLuma{16829, 33039, 6416}, kBlueness{-9714, -19071, 28784}, kRedness{28784, -24103, -4681};

// `count` pixels' sums.
std::uint8_t weighted(const Weights& weights, int red, int green, int blue, int count, int offset)
{
    const std::int64_t sum
        = std::int64_t(weights.red) * red + std::int64_t(weights.green) * green + std::int64_t(weights.blue) * blue;
    const std::int64_t one = std::int64_t(count) * 65536;
    return static_cast<std::uint8_t>((sum + offset * one + one / 2) / one);
}

} // namespace

std::string Y4MWriter::headerFor(const FilmFormat& format)
{
    // In thousandths, or 1001sts for the rates of television.
    std::int64_t frames = std::llround(format.rate * 1000), seconds = 1000;
    const double television = format.rate * 1001 / 1000;
    if (std::abs(television - std::round(television)) < 1e-4 && frames % 1000 != 0) {
        frames = std::llround(television) * 1000;
        seconds = 1001;
    }
    const std::int64_t divisor = std::gcd(frames, seconds);
    return "YUV4MPEG2 W" + std::to_string(format.width) + " H" + std::to_string(format.height) + " F"
        + std::to_string(frames / divisor) + ":" + std::to_string(seconds / divisor)
        + " Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n";
}

std::size_t Y4MWriter::bytesOfFrame(int width, int height)
{
    const auto columns = std::size_t(width + 1) / 2, rows = std::size_t(height + 1) / 2;
    return kFrame.size() + std::size_t(width) * std::size_t(height) + 2 * columns * rows;
}

void Y4MWriter::append(Bytes& out, const std::uint32_t* pixels, int width, int height)
{
    out.reserve(out.size() + bytesOfFrame(width, height));
    out.insert(out.end(), kFrame.begin(), kFrame.end());
    const auto red = [](std::uint32_t pixel) { return int(pixel >> 16 & 255); };
    const auto green = [](std::uint32_t pixel) { return int(pixel >> 8 & 255); };
    const auto blue = [](std::uint32_t pixel) { return int(pixel & 255); };
    const std::size_t count = std::size_t(width) * std::size_t(height);
    for (std::size_t k = 0; k < count; ++k)
        out.push_back(weighted(kLuma, red(pixels[k]), green(pixels[k]), blue(pixels[k]), 1, 16));
    for (const Weights& weights : {kBlueness, kRedness}) {
        for (int y = 0; y < height; y += 2) {
            for (int x = 0; x < width; x += 2) {
                int sums[3] = {0, 0, 0};
                int four = 0; // or fewer at the edge
                for (int row = y; row < std::min(y + 2, height); ++row) {
                    for (int column = x; column < std::min(x + 2, width); ++column, ++four) {
                        const std::uint32_t pixel = pixels[std::size_t(row) * std::size_t(width) + std::size_t(column)];
                        sums[0] += red(pixel);
                        sums[1] += green(pixel);
                        sums[2] += blue(pixel);
                    }
                }
                out.push_back(weighted(weights, sums[0], sums[1], sums[2], four, 128));
            }
        }
    }
}

} // namespace vitrel
