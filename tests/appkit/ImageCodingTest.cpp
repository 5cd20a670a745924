#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/NSImage.h"

#include <gtest/gtest.h>

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

TEST(ScaledToFit, KeepsTheShapeAndNeverMakesAnythingLarger)
{
    const struct {
        int width, height, side, toWidth, toHeight;
    } cases[] = {{10, 20, 20, 10, 20}, {10, 20, 100, 10, 20}, {40, 20, 20, 20, 10}, {100, 100, 7, 7, 7},
        {1000, 1, 10, 10, 1}, {1, 1000, 10, 1, 10}, {3000, 2000, 1, 1, 1}};
    for (const auto& one : cases) {
        const auto scaled = scaledToFit(halves(one.width, one.height), one.side);
        ASSERT_TRUE(scaled) << one.width << 'x' << one.height;
        EXPECT_EQ(scaled->width, one.toWidth) << one.width << 'x' << one.height;
        EXPECT_EQ(scaled->height, one.toHeight) << one.width << 'x' << one.height;
    }
    EXPECT_FALSE(scaledToFit(Bitmap{}, 10));
    EXPECT_FALSE(scaledToFit(Bitmap{2, 2, {0}}, 10)) << "pixels are missing";
    EXPECT_FALSE(scaledToFit(halves(2, 2), 0));
}

// Channels in another order, or straight ones taken for premultiplied, show in the clear half.
TEST(ScaledToFit, KeepsColoursAndClearness)
{
    const auto scaled = scaledToFit(halves(400, 200), 40);
    ASSERT_TRUE(scaled);
    const std::size_t row = 40 * 10;
    EXPECT_EQ(scaled->pixels[row + 5], 0xFFFFFFFFu);
    EXPECT_EQ(scaled->pixels[row + 35], 0x80000080u);
    EXPECT_FALSE(isOpaque(*scaled));
}

TEST(JpegRepresentation, ShowsThePicture)
{
    Bitmap bitmap{64, 32, std::vector<std::uint32_t>(64 * 32, 0xFF20C040u)};
    EXPECT_TRUE(isOpaque(bitmap));
    const auto file = jpegRepresentation(bitmap);
    ASSERT_TRUE(file);
    const auto image = NSImage::imageWithData(*file);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations()[0].pixelsWide(), 64);
    EXPECT_EQ(image->representations()[0].pixelsHigh(), 32);
    for (const std::uint32_t word : image->representations()[0].bitmap()->pixels) {
        for (const int shift : {0, 8, 16, 24})
            ASSERT_NEAR(double(word >> shift & 255), double(0xFF20C040u >> shift & 255), 4);
    }
    EXPECT_FALSE(jpegRepresentation(Bitmap{}));
}

} // namespace
} // namespace vitrel
