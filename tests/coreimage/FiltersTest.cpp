#include "coreimage/Pictures.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace vitrel {
namespace {

using testing::Each;
using testing::ElementsAre;

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

TEST(Filters, KnowTheirKeysAndRefuseOthers)
{
    EXPECT_FALSE(CIFilter::filterWithName("CINoSuchFilter"));
    auto blur = *CIFilter::filterWithName("CIGaussianBlur");
    EXPECT_EQ(std::get<double>(blur.valueForKey("inputRadius")), 10.0);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(blur.valueForKey(kCIInputImageKey)));
    EXPECT_FALSE(blur.outputImage()) << "without an image there is none";
    EXPECT_FALSE(blur.setValueForKey(1.0, "inputEV")) << "another filter's key";
    EXPECT_FALSE(blur.setValueForKey(std::string("3"), "inputRadius")) << "another kind of value";
    EXPECT_TRUE(blur.setValueForKey(3.0, "inputRadius"));
    EXPECT_EQ(std::get<double>(blur.valueForKey("inputRadius")), 3.0);
    EXPECT_TRUE(blur.setValueForKey({}, "inputRadius"));
    EXPECT_EQ(std::get<double>(blur.valueForKey("inputRadius")), 10.0) << "back to the default";
    EXPECT_TRUE(blur.setValueForKeyPath(imageOf(1, 1, {0xFFFFFFFF}), kCIInputImageKey));
    EXPECT_EQ(std::get<CIImage>(blur.valueForKeyPath(kCIOutputImageKey)).extent(), makeRect(-30, -30, 61, 61));
}

// Worked out from the curve: white is a light of 1, a stop down 0.5, which a screen shows as 187.5.
TEST(ExposureAdjust, DoublesTheLightForEachStop)
{
    const std::tuple<double, std::uint32_t, std::uint32_t, const char*> cases[] = {
        {0, 0xFF8040C0, 0xFF8040C0, "as it is"},
        {-1, 0xFFFFFFFF, 0xFFBCBCBC, "half the light"},
        {1, 0xFFBCBCBC, 0xFFFFFFFF, "and back"},
        {-3.5, 0xFFFFFFFF, 0xFF545454, "0.0884 is 83.9 of 255"},
        {3, 0xFF808000, 0xFFFFFF00, "no more than there is, and black stays black"},
        {-1, 0x80800000, 0x805E0000, "what shines through keeps doing so: 188 of 255, times 128"},
        {1e9, 0xFF010000, 0xFFFF0000, "very many stops"},
        {-1e9, 0xFFFFFFFF, 0xFF000000, "down, too"},
    };
    for (const auto& [stops, from, to, why] : cases)
        EXPECT_THAT(
            pixelsOf(*filtered("CIExposureAdjust", {{kCIInputImageKey, imageOf(1, 1, {from})}, {"inputEV", stops}}),
                makeRect(0, 0, 1, 1)),
            ElementsAre(to))
            << why;
}

TEST(SourceOver, LaysOneUponTheOtherInLinearLight)
{
    const auto over = [](CIImage image, CIImage background) {
        return *filtered(
            "CISourceOverCompositing", {{kCIInputImageKey, image}, {kCIInputBackgroundImageKey, background}});
    };
    const CIImage black = imageOf(1, 1, {0xFF000000}), white = imageOf(1, 1, {0xFFFFFFFF});
    const CIImage half = *filtered("CIConstantColorGenerator", {{kCIInputColorKey, CIColor{1, 1, 1, 0.5}}});
    EXPECT_THAT(pixelsOf(over(half, black), makeRect(0, 0, 1, 1)), ElementsAre(0xFFBCBCBC));
    EXPECT_THAT(pixelsOf(over(black, half), makeRect(0, 0, 2, 1)), ElementsAre(0xFF000000, 0x80808080));
    EXPECT_THAT(pixelsOf(over(white, CIImage()), makeRect(0, 0, 1, 1)), ElementsAre(0xFFFFFFFF));
    EXPECT_THAT(pixelsOf(over(CIImage(), white), makeRect(0, 0, 1, 1)), ElementsAre(0xFFFFFFFF));
    EXPECT_FALSE(filtered("CISourceOverCompositing", {{kCIInputBackgroundImageKey, white}}));
    EXPECT_THAT(pixelsOf(*filtered("CIConstantColorGenerator", {}), makeRect(-5, 3, 2, 2)), Each(0xFFFF0000))
        << "red where nobody says otherwise";
}

TEST(LanczosScale, KeepsColoursEdgesAndLines)
{
    const CIImage image = imageOf(50, 30, std::vector<std::uint32_t>(1500, 0xFF8040C0));
    for (const double scale : {0.1, 0.5, 0.77, 1.0, 1.5, 7.2}) {
        const CIImage scaled
            = *filtered("CILanczosScaleTransform", {{kCIInputImageKey, image}, {kCIInputScaleKey, scale}});
        const NSSize size = scaled.extent().size;
        EXPECT_EQ(size.width, std::round(50 * scale));
        EXPECT_EQ(size.height, std::round(30 * scale));
        EXPECT_THAT(pixelsOf(scaled, scaled.extent()), Each(0xFF8040C0)) << scale << ": one colour to the last pixel";
    }
    // By 1 nothing changes, whatever the picture.
    const auto noisy = noise(300, 70);
    EXPECT_EQ(pixelsOf(*filtered("CILanczosScaleTransform", {{kCIInputImageKey, imageOf(300, 70, noisy.pixels)}}),
                  makeRect(0, 0, 300, 70)),
        noisy.pixels);

    // Steps that lie on a line are on it after scaling, too, but for the ends; a picture that is shifted by half a
    // pixel or turned over isn't.
    constexpr int kLength = 64;
    std::vector<std::uint32_t> words;
    for (int x = 0; x < kLength; ++x) {
        const auto value = std::uint32_t(std::lround(toScreen((x + 0.5) / kLength)));
        words.push_back(0xFF000000 | value << 16 | value << 8 | value);
    }
    for (const double scale : {0.25, 0.5, 2.0, 3.0}) {
        const CIImage scaled = *filtered("CILanczosScaleTransform",
            {{kCIInputImageKey,
                 imageOf(kLength, 1, words)
                     .imageByClampingToExtent()
                     .imageByCroppingToRect(makeRect(0, 0, kLength, 4))},
                {kCIInputScaleKey, scale}});
        const int width = int(kLength * scale);
        const auto pixels = pixelsOf(scaled, makeRect(0, 0, width, 1));
        ASSERT_EQ(pixels.size(), std::size_t(width));
        for (int x = width / 8; x < width * 7 / 8; ++x) {
            EXPECT_NEAR(pixels[std::size_t(x)] & 255, toScreen((x + 0.5) / width), 1.2) << scale << " at " << x;
        }
    }
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
