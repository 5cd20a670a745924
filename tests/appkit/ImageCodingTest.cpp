#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/NSImage.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

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
