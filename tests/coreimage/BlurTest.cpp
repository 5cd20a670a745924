#include "coreimage/Pictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace vitrel {
namespace {

using Light = std::array<double, 4>;

double toLight(unsigned value)
{
    const double v = value / 255.0;
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

double toScreen(double light)
{
    const double v = std::clamp(light, 0.0, 1.0);
    return 255 * (v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055);
}

// The bell itself, in double precision and without any haste: rows, then columns, edges held or clear.
std::vector<Light> bellOf(const Bitmap& bitmap, double radius, bool held)
{
    std::vector<Light> now;
    for (const auto word : bitmap.pixels)
        now.push_back({toLight(word & 255), toLight(word >> 8 & 255), toLight(word >> 16 & 255), (word >> 24) / 255.0});
    const int reach = int(6 * radius) + 1;
    double sum = 0;
    for (int k = -reach; k <= reach; ++k)
        sum += std::exp(-0.5 * k * k / radius / radius);
    for (const bool across : {true, false}) {
        std::vector<Light> next(now.size());
        const int length = across ? bitmap.width : bitmap.height;
        for (int y = 0; y < bitmap.height; ++y)
            for (int x = 0; x < bitmap.width; ++x)
                for (int k = -reach; k <= reach; ++k) {
                    const int at = (across ? x : y) + k;
                    if (!held && (at < 0 || at >= length))
                        continue;
                    const int inside = std::clamp(at, 0, length - 1);
                    const int from = across ? y * bitmap.width + inside : inside * bitmap.width + x;
                    for (std::size_t c = 0; c < 4; ++c)
                        next[std::size_t(y * bitmap.width + x)][c]
                            += now[std::size_t(from)][c] * std::exp(-0.5 * k * k / radius / radius) / sum;
                }
        now = std::move(next);
    }
    return now;
}

// The fast ways to blur stand in for the slow one: a wrong variance or a cell off by one shows at any radius.
TEST(GaussianBlur, IsTheBellOfItsRadiusInLinearLightAndFadesIntoWhatIsClear)
{
    // A white block in the dark, a hard edge, and noise.
    Bitmap bitmap = noise(90, 70);
    for (int y = 0; y < 70; ++y)
        for (int x = 0; x < 90; ++x)
            if (x < 60)
                bitmap.pixels[std::size_t(y * 90 + x)] = x > 20 && x < 45 && y > 10 && y < 40 ? 0xFFFFFFFF : 0xFF200000;
    const CIImage image = imageOf(90, 70, bitmap.pixels);
    for (const double radius : {0.5, 1.7, 4.9, 5.0, 7.3, 10.0, 16.0, 25.0}) {
        const auto blurred = filtered(
            "CIGaussianBlur", {{kCIInputImageKey, image.imageByClampingToExtent()}, {"inputRadius", radius}});
        const auto pixels = pixelsOf(*blurred, image.extent());
        const auto expected = bellOf(bitmap, radius, true);
        ASSERT_EQ(pixels.size(), expected.size());
        double worst = 0;
        for (std::size_t k = 0; k < pixels.size(); ++k)
            for (std::size_t c = 0; c < 4; ++c)
                worst = std::max(worst,
                    std::abs(
                        double(pixels[k] >> 8 * c & 255) - (c == 3 ? 255 * expected[k][3] : toScreen(expected[k][c]))));
        // Beside the dark, a thousandth of the light is three steps.
        EXPECT_LT(worst, 2.5) << radius;
    }

    const Bitmap white{40, 40, std::vector<std::uint32_t>(1600, 0xFFFFFFFF)};
    for (const double radius : {2.0, 8.0}) {
        const auto pixels = pixelsOf(
            *filtered("CIGaussianBlur", {{kCIInputImageKey, imageOf(40, 40, white.pixels)}, {"inputRadius", radius}}),
            makeRect(0, 0, 40, 40));
        const auto expected = bellOf(white, radius, false);
        for (std::size_t k = 0; k < pixels.size(); ++k) {
            ASSERT_NEAR(pixels[k] >> 24, 255 * expected[k][3], 1.5) << radius << " at " << k;
            ASSERT_EQ(pixels[k] & 255, pixels[k] >> 24) << "premultiplied, white stays white";
        }
    }
}

TEST(GaussianBlur, OddRadiiAreNoTrouble)
{
    const CIImage image = imageOf(2, 1, {0xFFFF0000, 0xFF0000FF}), clamped = image.imageByClampingToExtent();
    const auto blurred = [&](double radius) {
        return pixelsOf(
            *filtered("CIGaussianBlur", {{kCIInputImageKey, clamped}, {"inputRadius", radius}}), makeRect(0, 0, 2, 1));
    };
    for (const double radius : {0.0, -3.0, 0.001})
        EXPECT_EQ(blurred(radius), (std::vector<std::uint32_t>{0xFFFF0000, 0xFF0000FF})) << radius;
    // Half of each everywhere: half light is 188 of 255.
    for (const double radius : {900.0, 1e9})
        for (const auto word : blurred(radius)) {
            EXPECT_NEAR(word & 255, 188, 1) << radius;
            EXPECT_NEAR(word >> 16 & 255, 188, 1) << radius;
        }
    EXPECT_EQ(blurred(std::nan("")), (std::vector<std::uint32_t>{0, 0}));
}

} // namespace
} // namespace vitrel
