#include "imaging/CoreImageKit.h"
#include "imaging/NSImage+Nq.h"
#include "imaging/NSImage+NqWallpaper.h"
#include "imaging/Pictures.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace vitrel {
namespace {

using testing::Each;

constexpr std::uint32_t W = 0xFFFFFFFF, G = 0xFF00FF00;
// White three and a half stops down: a light of 0.0884, which a screen shows as 83.9 of 255.
constexpr std::uint32_t kDark = 0xFF545454;

std::shared_ptr<const NSImage> mural(const NSImage& image, NSSize size, float difference)
{
    return musicArtworkWallpaperArtworkAspectRatioDifference(image, size, difference);
}

// Where the bright cover stands in a row or column of the result: its first pixel and how many there are.
std::pair<int, int> brightRun(const NSImage& image, bool across)
{
    const auto& bitmap = *image.representations().at(0).bitmap();
    const int length = across ? bitmap.width : bitmap.height;
    int first = -1, count = 0;
    for (int k = 0; k < length; ++k) {
        const std::uint32_t word = across ? wordAt(image, k, bitmap.height / 2) : wordAt(image, bitmap.width / 2, k);
        if ((word & 255) > 200) {
            first = first < 0 ? k : first;
            ++count;
        }
    }
    return {first, count};
}

TEST(Wallpaper, TheCoverStandsWholeInTheMiddleOfItsDarkCopy)
{
    const std::tuple<NSSize, NSSize, std::pair<int, int>, std::pair<int, int>, const char*> cases[] = {
        {{90, 90}, {160, 90}, {35, 90}, {0, 90}, "square on 16:9: margins left and right"},
        {{40, 40}, {160, 90}, {35, 90}, {0, 90}, "a small one is scaled up"},
        {{300, 300}, {160, 90}, {35, 90}, {0, 90}, "a large one is scaled down"},
        {{160, 90}, {90, 160}, {0, 90}, {55, 50},
            "wide on tall: 51 high from 54.5 on, so that two rows are half there"},
        {{50, 100}, {200, 100}, {75, 50}, {0, 100}, "narrow on wide"},
        {{200, 100}, {100, 100}, {0, 100}, {25, 50}, "wide on square"},
        {{100, 100}, {200, 200}, {0, 200}, {0, 200}, "the screen's very shape: it covers all"},
    };
    for (const auto& [cover, screen, across, upwards, why] : cases) {
        const auto image = mural(*plainImage(int(cover.width), int(cover.height), W), screen, 0.1f);
        EXPECT_EQ(image->size(), screen) << why;
        EXPECT_EQ(brightRun(*image, true), across) << why;
        EXPECT_EQ(brightRun(*image, false), upwards) << why;
        if (across.first > 1) {
            EXPECT_EQ(wordAt(*image, 0, 0), kDark) << why << ": the margins are dark";
        }
    }
}

// d is single(w / h) - single(iw / ih): not greater than the threshold, and not zero, gives the plain fill.
TEST(Wallpaper, ShapesThatNearlyMatchAreFilled)
{
    const std::tuple<NSSize, NSSize, float, bool, const char*> cases[] = {
        {{170, 100}, {160, 90}, 0.1f, true, "1.70 on 1.78: off by 0.08"},
        {{100, 100}, {160, 90}, 0.1f, false, "off by 0.78"},
        {{100, 100}, {160, 90}, 0.78f, true, "a threshold may be as large as one likes"},
        {{160, 90}, {170, 100}, 0.1f, true, "wider by as much counts the same"},
        {{160, 90}, {100, 100}, 0.1f, false, "wider by more"},
        {{160, 90}, {320, 180}, 0.1f, false, "off by nothing is composed"},
        {{170, 100}, {160, 90}, 0.0f, false, "a threshold of 0 always composes"},
        {{150, 100}, {100, 100}, 0.5f, true, "just as much as the threshold isn't more"},
        {{100, 100}, {150, 100}, 0.5f, true, "on either side"},
        {{100, 100}, {150, 100}, -1.0f, false, "a threshold below nothing"},
    };
    for (const auto& [cover, screen, difference, filled, why] : cases) {
        const auto image = drawnCover(int(cover.width), int(cover.height));
        const bool same
            = wordsOf(*mural(*image, screen, difference)) == wordsOf(*resizeImageToFillSize(*image, screen));
        // What is composed of the screen's own shape covers the fill: it differs in how it was scaled.
        EXPECT_EQ(same, filled) << why;
    }
}

TEST(Wallpaper, TheBackdropIsADarkBlurAndTheMuralTheFillUponIt)
{
    EXPECT_THAT(wordsOf(*artworkBackground(*plainImage(70, 50, W))), Each(kDark)) << "to the last pixel of the edge";
    std::vector<std::uint32_t> halves(100 * 40);
    for (std::size_t k = 0; k < halves.size(); ++k)
        halves[k] = k % 100 < 50 ? 0xFF000000 : W;
    const auto backdrop = artworkBackground(*imageOf(100, 40, halves));
    EXPECT_EQ(backdrop->size(), (NSSize{100, 40}));
    // The integral of the bell with a deviation of 10 from the edge at 50, times the light; then the curve.
    for (const int x : {0, 25, 40, 45, 50, 55, 60, 75, 99}) {
        const double light = std::exp2(-3.5) * 0.5 * std::erfc(-(x + 0.5 - 50) / 10 / std::sqrt(2));
        const double shown = 255 * (light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055);
        EXPECT_NEAR(wordAt(*backdrop, x, 20) & 255, shown, 1.0) << x;
    }

    const auto cover = drawnCover(120, 120);
    EXPECT_EQ(wordsOf(*muralisArtworkForSize(*cover, {160, 90})), wordsOf(*resizeImageToFillSize(*cover, {160, 90})));
    // What the cover lets through shows the dark behind it: half white upon half dark.
    const auto clear = muralisArtworkForSize(*plainImage(40, 40, 0x80808080), {40, 40});
    const double through = 128 / 255.0 + (1 - 128 / 255.0) * std::exp2(-3.5) * 128 / 255.0;
    const double alpha = 1 - std::pow(1 - 128 / 255.0, 2);
    const auto word = wordAt(*clear, 20, 20);
    EXPECT_NEAR(word >> 24, 255 * alpha, 1);
    EXPECT_NEAR(word & 255, 255 * alpha * (1.055 * std::pow(through / alpha, 1 / 2.4) - 0.055), 2);
}

TEST(Wallpaper, WhatIsNoCoverAndWhatIsNoScreenGiveAnEmptyImage)
{
    const NSImage none(NSSize{0, 0}, {}), empty(NSSize{50, 50}, {});
    const NSImage broken(NSSize{5, 5}, {NSBitmapImageRep(std::make_shared<const Bitmap>(Bitmap{5, 5, {W}}))});
    const auto cover = plainImage(10, 10, G);
    const double infinity = std::numeric_limits<double>::infinity(), nan = std::nan("");
    for (const NSImage* image : {&none, &empty, &broken})
        for (const auto& result :
            {artworkBackground(*image), muralisArtworkForSize(*image, {40, 30}), mural(*image, {40, 30}, 0.1f)}) {
            ASSERT_TRUE(result);
            for (const auto word : wordsOf(*result))
                ASSERT_EQ(word, 0u);
        }
    for (const NSSize size :
        {NSSize{0, 0}, {0, 30}, {30, 0}, {-4, 5}, {infinity, 5}, {5, nan}, {1e9, 1e9}, {6016, 3384}})
        for (const float difference : {0.0f, 0.1f, 1e9f}) {
            ASSERT_TRUE(muralisArtworkForSize(*cover, size));
            const auto result = mural(*cover, size, difference);
            ASSERT_TRUE(result);
            if (size.width > 1e4 || !(size.width > 0) || !(size.height > 0)) {
                EXPECT_LE(wordsOf(*result).size(), 17u << 20) << size.width;
            }
        }
    EXPECT_EQ(wordsOf(*mural(*cover, {1, 1}, 0.1f)).size(), 1u);
    EXPECT_EQ(wordsOf(*mural(*cover, {10.5, 20.25}, 0.1f)).size(), 11u * 21u) << "fractions take whole pixels";
}

} // namespace
} // namespace vitrel
