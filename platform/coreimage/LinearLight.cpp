#include "platform/coreimage/Pixel.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vitrel {

namespace {

// Steps of linear light in the table back to encoded light. The darkest step of encoded light has five of them, so that
// rounding is off by a tenth of a step at worst.
constexpr int kSteps = 16384;

struct Tables {
    std::array<float, 256> linear;
    std::array<std::uint8_t, kSteps + 1> encoded;

    Tables()
    {
        for (std::size_t k = 0; k < linear.size(); ++k)
            linear[k] = static_cast<float>(linearLight(double(k) / 255));
        for (std::size_t k = 0; k < encoded.size(); ++k) {
            const double light = double(k) / kSteps;
            const double value = light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
            encoded[k] = static_cast<std::uint8_t>(std::lround(value * 255));
        }
    }
};

const Tables& tables()
{
    static const Tables tables;
    return tables;
}

Pixel unpack(const Tables& tables, std::uint32_t word)
{
    const unsigned alpha = word >> 24;
    if (alpha == 255)
        return {Lanes{tables.linear[word & 255], tables.linear[word >> 8 & 255], tables.linear[word >> 16 & 255], 1}};
    if (alpha == 0)
        return {kClear};
    // The curve is for straight colours.
    const auto straight = [&](unsigned channel) { return std::min(255u, (channel * 255 + alpha / 2) / alpha); };
    const float cover = float(alpha) / 255;
    return {Lanes{tables.linear[straight(word & 255)] * cover, tables.linear[straight(word >> 8 & 255)] * cover,
        tables.linear[straight(word >> 16 & 255)] * cover, cover}};
}

std::uint32_t pack(const Tables& tables, const Pixel& pixel)
{
    constexpr Lanes most = {kSteps, kSteps, kSteps, 255}, half = {0.5f, 0.5f, 0.5f, 0.5f};
    Lanes lanes = pixel.lanes;
    const float cover = lanes[3];
    if (!(cover >= 0.5f / 255)) // NaN, too
        return 0;
    if (cover < 1) {
        lanes /= cover;
        lanes[3] = cover;
    } else {
        lanes[3] = 1;
    }
    lanes = lanes * most + half;
    lanes = lanes > kClear ? lanes : kClear; // NaN becomes 0
    lanes = lanes < most ? lanes : most;
    const unsigned alpha = unsigned(lanes[3]);
    const unsigned blue = tables.encoded[std::size_t(lanes[0])], green = tables.encoded[std::size_t(lanes[1])],
                   red = tables.encoded[std::size_t(lanes[2])];
    if (alpha == 255)
        return 0xFF000000u | red << 16 | green << 8 | blue;
    const auto times = [&](unsigned channel) { return (channel * alpha + 127) / 255; };
    return alpha << 24 | times(red) << 16 | times(green) << 8 | times(blue);
}

} // namespace

double linearLight(double encoded)
{
    const double value = std::clamp(encoded, 0.0, 1.0);
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

Pixel unpacked(std::uint32_t word)
{
    return unpack(tables(), word);
}

std::uint32_t packed(const Pixel& pixel)
{
    return pack(tables(), pixel);
}

void unpackRow(const std::uint32_t* words, Pixel* pixels, int count)
{
    const Tables& all = tables();
    for (int k = 0; k < count; ++k)
        pixels[k] = unpack(all, words[k]);
}

void packRow(const Pixel* pixels, std::uint32_t* words, int count)
{
    const Tables& all = tables();
    for (int k = 0; k < count; ++k)
        words[k] = pack(all, pixels[k]);
}

} // namespace vitrel
