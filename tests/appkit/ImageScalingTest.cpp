#include "platform/appkit/ImageScaling.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vitrel {
namespace {

// Halves: a white one and a blue one that is half clear, premultiplied.
Bitmap halves(int width, int height)
{
    Bitmap bitmap{width, height, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            bitmap.pixels.push_back(x < width / 2 ? 0xFFFFFFFFu : 0x80000080u);
    }
    return bitmap;
}

TEST(ScaledToFit, KeepsTheShapeAndTheColoursAndNeverMakesAnythingLarger)
{
    const std::tuple<int, int, int, int, int> cases[] = {{10, 20, 20, 10, 20}, {10, 20, 100, 10, 20},
        {40, 20, 20, 20, 10}, {100, 100, 7, 7, 7}, {1000, 1, 10, 10, 1}, {1, 1000, 10, 1, 10}, {3000, 2000, 1, 1, 1}};
    for (const auto& [width, height, side, toWidth, toHeight] : cases) {
        const auto scaled = scaledToFit(halves(width, height), side);
        ASSERT_TRUE(scaled) << width << 'x' << height;
        EXPECT_EQ(std::pair(scaled->width, scaled->height), std::pair(toWidth, toHeight)) << width << 'x' << height;
    }
    // Channels in another order, or straight ones taken for premultiplied, show in the clear half.
    const auto scaled = scaledToFit(halves(400, 200), 40);
    ASSERT_TRUE(scaled);
    EXPECT_EQ(scaled->pixels[400 + 5], 0xFFFFFFFFu);
    EXPECT_EQ(scaled->pixels[400 + 35], 0x80000080u);
    EXPECT_FALSE(scaledToFit(Bitmap{}, 10));
    EXPECT_FALSE(scaledToFit(Bitmap{2, 2, {0}}, 10)) << "pixels are missing";
    EXPECT_FALSE(scaledToFit(halves(2, 2), 0));
}

// Means by hand: thirds that don't fall together with pixels.
TEST(ScaledToFit, WeighsPixelsByTheAreaThatTheyCover)
{
    // Three columns to two: 1 and a half of the middle, a half of the middle and 1.
    const auto scaled = scaledToFit({3, 1, {0xFF0000F0u, 0xFF006000u, 0xFF300000u}}, 2);
    ASSERT_TRUE(scaled);
    EXPECT_EQ(scaled->pixels, (std::vector<std::uint32_t>{0xFF0020A0u, 0xFF202000u}));
    // The same standing, and four rows to one.
    EXPECT_EQ(scaledToFit({1, 3, {0xFF0000F0u, 0xFF006000u, 0xFF300000u}}, 2)->pixels, scaled->pixels);
    EXPECT_EQ(scaledToFit({1, 4, {0x00000000u, 0xFF0000FFu, 0xFFFF0000u, 0x00000000u}}, 1)->pixels,
        (std::vector<std::uint32_t>{0x80400040u}));
}

// The fast mean against the plain one, channel by channel, for every box and where boxes don't come out even.
TEST(ShrunkByBoxes, IsTheMeanOfEachBoxAndOfWhatIsLeftOver)
{
    Bitmap bitmap{37, 41, {}};
    for (std::uint32_t k = 0; k < 37 * 41; ++k)
        bitmap.pixels.push_back(k % 3 ? 0xFFFFFFFFu - k * 2654435761u : 0xFFFFFFFFu);
    for (const int columns : {1, 2, 3, 5, 16})
        for (const int rows : {1, 2, 7, 16}) {
            const int left = 2, top = 3, width = 33, height = 35;
            const Bitmap shrunk = shrunkByBoxes(bitmap, left, top, width, height, columns, rows);
            ASSERT_EQ(shrunk.width, (width + columns - 1) / columns);
            ASSERT_EQ(shrunk.height, (height + rows - 1) / rows);
            for (int y = 0; y < shrunk.height; ++y)
                for (int x = 0; x < shrunk.width; ++x)
                    for (const int shift : {0, 8, 16, 24}) {
                        double sum = 0;
                        int count = 0;
                        for (int v = y * rows; v < std::min((y + 1) * rows, height); ++v)
                            for (int u = x * columns; u < std::min((x + 1) * columns, width); ++u, ++count)
                                sum += bitmap.pixels[std::size_t((top + v) * 37 + left + u)] >> shift & 255;
                        ASSERT_NEAR(shrunk.pixels[std::size_t(y * shrunk.width + x)] >> shift & 255, sum / count, 0.5)
                            << columns << "x" << rows << " at " << x << ", " << y;
                    }
        }
}

} // namespace
} // namespace vitrel
