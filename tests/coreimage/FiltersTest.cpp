#include "coreimage/Pictures.h"

#include <gmock/gmock.h>

#include <cmath>

namespace vitrel {
namespace {

using testing::Each;
using testing::ElementsAre;

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
        const double light = (x + 0.5) / kLength;
        const auto value = std::uint32_t(std::lround(255 * (1.055 * std::pow(light, 1 / 2.4) - 0.055)));
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
            const double light = (x + 0.5) / width;
            EXPECT_NEAR(pixels[std::size_t(x)] & 255, 255 * (1.055 * std::pow(light, 1 / 2.4) - 0.055), 1.2)
                << scale << " at " << x;
        }
    }
}

} // namespace
} // namespace vitrel
