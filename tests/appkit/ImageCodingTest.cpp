#include "platform/appkit/ImageCoding.h"
#include "base/Text.h"
#include "platform/appkit/ImageScaling.h"
#include "platform/appkit/NSImage.h"
#include "platform/appkit/SmoothEnlarging.h"

#include <gmock/gmock.h>
#include <vips/vips.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <thread>

namespace vitrel {
namespace {

using testing::ElementsAre;

struct Picture {
    int width, height, bands;
    Bytes samples; // 8 bits each
    int orientation = 1;
};

// Two by three: red green / blue white / black grey.
Picture smallPicture()
{
    return {2, 3, 3, {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255, 0, 0, 0, 128, 128, 128}};
}

// `count` pixels of the same samples.
Bytes plain(int count, const Bytes& pixel)
{
    Bytes samples;
    for (int k = 0; k < count; ++k)
        samples.insert(samples.end(), pixel.begin(), pixel.end());
    return samples;
}

Bytes encoded(const Picture& picture, const std::string& saver)
{
    warmImageDecoding();
    VipsImage* image = vips_image_new_from_memory_copy(picture.samples.data(), picture.samples.size(), picture.width,
        picture.height, picture.bands, VIPS_FORMAT_UCHAR);
    image->Type = picture.bands == 1 ? VIPS_INTERPRETATION_B_W
        : picture.bands == 3         ? VIPS_INTERPRETATION_sRGB
                                     : VIPS_INTERPRETATION_CMYK;
    if (picture.orientation != 1)
        vips_image_set_int(image, "orientation", picture.orientation);
    void* data = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(vips_image_write_to_buffer(image, saver.c_str(), &data, &size, nullptr), 0) << vips_error_buffer();
    Bytes bytes(static_cast<std::uint8_t*>(data), static_cast<std::uint8_t*>(data) + size);
    g_free(data);
    g_object_unref(image);
    return bytes;
}

std::vector<std::uint32_t> pixelsOf(const std::shared_ptr<const NSImage>& image)
{
    return image ? image->representations().at(0).bitmap()->pixels : std::vector<std::uint32_t>{};
}

void appendBig32(Bytes& to, std::uint32_t number)
{
    for (int shift : {24, 16, 8, 0})
        to.push_back(std::uint8_t(number >> shift));
}

void appendChunk(Bytes& to, const char* name, const Bytes& body)
{
    appendBig32(to, std::uint32_t(body.size()));
    Bytes named(name, name + 4);
    named.insert(named.end(), body.begin(), body.end());
    to.insert(to.end(), named.begin(), named.end());
    appendBig32(to, std::uint32_t(crc32(0, named.data(), uInt(named.size()))));
}

// A PNG by the letter of its standard.
Bytes png(std::uint32_t width, std::uint32_t height, int depth, int colour, int interlace, const Bytes& rows)
{
    Bytes file = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}, header;
    appendBig32(header, width);
    appendBig32(header, height);
    for (int byte : {depth, colour, 0, 0, interlace})
        header.push_back(std::uint8_t(byte));
    appendChunk(file, "IHDR", header);
    auto size = compressBound(rows.size());
    Bytes data(size);
    EXPECT_EQ(compress(data.data(), &size, rows.data(), rows.size()), Z_OK);
    data.resize(size);
    appendChunk(file, "IDAT", data);
    appendChunk(file, "IEND", {});
    return file;
}

// Swapped channels, rows from the bottom, a missing alpha: each shows in one of the six pixels.
TEST(ImageDecoding, TheFiveFormatsGiveTheSamePixels)
{
    const std::vector<std::uint32_t> expected
        = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFFFFFF, 0xFF000000, 0xFF808080};
    for (const char* saver : {".png", ".png[interlace]", ".gif", ".webp[lossless]", ".tif", ".tif[compression=lzw]"}) {
        const auto image = NSImage::imageWithData(encoded(smallPicture(), saver));
        ASSERT_TRUE(image) << saver;
        EXPECT_EQ(image->size(), (NSSize{2, 3})) << saver;
        EXPECT_EQ(pixelsOf(image), expected) << saver;
    }
    // JPEG loses; a plain block keeps its colour to within rounding.
    for (const char* saver : {".jpg[Q=100]", ".jpg[Q=100,interlace]"}) {
        const auto pixels = pixelsOf(NSImage::imageWithData(encoded({16, 16, 3, plain(256, {200, 100, 50})}, saver)));
        ASSERT_EQ(pixels.size(), 256u) << saver;
        EXPECT_NEAR(pixels[100] >> 16 & 255, 200, 2) << saver;
        EXPECT_NEAR(pixels[100] >> 8 & 255, 100, 2) << saver;
        EXPECT_NEAR(pixels[100] & 255, 50, 2) << saver;
    }
}

TEST(ImageDecoding, EveryDepthAndKindOfColourComesOutAsPremultipliedWords)
{
    const std::tuple<int, int, Bytes, std::vector<std::uint32_t>, const char*> cases[] = {
        {8, 0, {0, 0x40, 0xC0}, {0xFF404040, 0xFFC0C0C0}, "grey"},
        {1, 0, {0, 0x40}, {0xFF000000, 0xFFFFFFFF}, "black and white in bits"},
        {8, 4, {0, 0x40, 0xFF, 0x80, 0x80}, {0xFF404040, 0x80404040}, "grey with alpha"},
        {16, 0, {0, 0x40, 0x40, 0xC0, 0xC0}, {0xFF404040, 0xFFC0C0C0}, "deep grey"},
        {16, 2, {0, 0x10, 0x10, 0x20, 0x20, 0x30, 0x30, 0, 0, 0, 0, 0, 0}, {0xFF102030, 0xFF000000}, "deep colour"},
        {8, 6, {0, 255, 128, 0, 255, 255, 128, 0, 0}, {0xFFFF8000, 0}, "colour under alpha 0 is gone"},
        {8, 6, {0, 255, 128, 0, 128, 10, 20, 30, 51}, {0x80804000, 0x33020406}, "colour times alpha, rounded"},
        {16, 6, {0, 255, 255, 0, 0, 0, 0, 128, 128, 0, 0, 0, 0, 0, 0, 0, 0}, {0x80800000, 0}, "deep alpha"},
    };
    for (const auto& [depth, colour, row, pixels, why] : cases)
        EXPECT_EQ(pixelsOf(NSImage::imageWithData(png(2, 1, depth, colour, 0, row))), pixels) << why;
    // Cyan in inks.
    const Picture cyan{8, 8, 4, plain(64, {255, 0, 0, 0})};
    const auto blue = pixelsOf(NSImage::imageWithData(encoded(cyan, ".jpg[Q=100]")));
    ASSERT_EQ(blue.size(), 64u);
    EXPECT_EQ(blue[0] >> 24, 255u) << "black is no alpha";
    EXPECT_LT(blue[0] >> 16 & 255, 60u);
    EXPECT_GT(blue[0] >> 8 & 255, 120u);
    EXPECT_GT(blue[0] & 255, 180u);
}

// What the EXIF standard says of row 0 and column 0, for letters at the corners: a b / c d.
TEST(ImageDecoding, TurnsUprightByTheOrientation)
{
    constexpr std::uint32_t a = 0xFF000000, b = 0xFF404040, c = 0xFF808080, d = 0xFFFFFFFF;
    const std::vector<std::uint32_t> expected[] = {
        {a, b, c, d}, {b, a, d, c}, // 2: row 0 top, column 0 right
        {d, c, b, a}, // 3: bottom, right
        {c, d, a, b}, // 4: bottom, left
        {a, c, b, d}, // 5: left, top
        {c, a, d, b}, // 6: right, top
        {d, b, c, a}, // 7: right, bottom
        {b, d, a, c}, // 8: left, bottom
    };
    for (int orientation = 1; orientation <= 8; ++orientation) {
        const Picture picture{2, 2, 1, {0x00, 0x40, 0x80, 0xFF}, orientation};
        EXPECT_EQ(pixelsOf(NSImage::imageWithData(encoded(picture, ".tif"))), expected[orientation - 1]) << orientation;
    }
    Picture wide{3, 1, 1, {1, 2, 3}, 6};
    EXPECT_EQ(NSImage::imageWithData(encoded(wide, ".tif"))->size(), (NSSize{1, 3}));
}

TEST(ImageDecoding, WhatIsNoImageGivesNull)
{
    for (const char* text : {"", "x", "GIF89a", "\x89PNG\r\n\x1a\n", "\xFF\xD8\xFF", "RIFF\1\0\0\0WEBP", "<svg/>",
             "P6 1 1 255 abc", "BM", "%PDF-1.4", "II*"})
        EXPECT_FALSE(NSImage::imageWithData(bytesOf(text))) << text;
    EXPECT_FALSE(NSImage::imageWithData(bytesOf("P6\n1 1\n255\nabc"))) << "readable, but none of the five";
}

// A decoder that hands out what it has of a cut file shows half a cover until the track ends.
TEST(ImageDecoding, AFileCutAnywhereGivesNullOrTheWholeAndNeverCrashes)
{
    for (const char* saver : {".png", ".jpg", ".gif", ".webp", ".tif"}) {
        const Bytes whole = encoded(smallPicture(), saver);
        const auto pixels = pixelsOf(NSImage::imageWithData(whole));
        ASSERT_FALSE(pixels.empty()) << saver;
        std::size_t refused = 0;
        for (std::size_t length = 0; length < whole.size(); length += 1 + whole.size() / 200) {
            const auto image = NSImage::imageWithData({whole.data(), length});
            refused += !image;
            if (image && std::string(saver) != ".jpg") {
                EXPECT_EQ(pixelsOf(image), pixels) << saver << " cut at " << length;
            }
        }
        EXPECT_GT(refused, 5u) << saver;
    }
}

TEST(ImageDecoding, HugeDimensionsAreRefusedBeforeAPixelIsRead)
{
    const std::tuple<std::uint32_t, std::uint32_t, int, const char*> cases[] = {
        {65000, 65000, 0, "4 gigapixels"},
        {8193, 8192, 0, "a row beyond 64 megapixels"},
        {4097, 4096, 1, "interlaced: 16 megapixels at most"},
        {2147483647, 1, 0, "one endless row"},
        {70000, 1, 0, "a side longer than any format but TIFF has"},
    };
    for (const auto& [width, height, interlace, why] : cases)
        EXPECT_FALSE(NSImage::imageWithData(png(width, height, 8, 6, interlace, {0, 0}))) << why;
    // A TIFF with a huge tile: little-endian, one directory: 1 x 1 pixel, tiles of 65520 x 65520.
    Bytes file = {'I', 'I', '*', 0, 8, 0, 0, 0, 9, 0};
    for (const auto& [tag, type, value] : {std::array{256u, 4u, 1u}, {257, 4, 1}, {258, 3, 8}, {259, 3, 1}, {262, 3, 1},
             {322, 4, 65520}, {323, 4, 65520}, {324, 4, 8}, {325, 4, 1}})
        for (const std::uint32_t part : {tag | type << 16, 1u, value})
            for (int shift : {0, 8, 16, 24})
                file.push_back(std::uint8_t(part >> shift));
    file.insert(file.end(), {0, 0, 0, 0});
    EXPECT_FALSE(NSImage::imageWithData(file));
}

// The right half differs from the left, so that a mean taken over the wrong pixels shows.
TEST(ImageDecoding, AnImageBeyondTheLongestSideIsScaledDown)
{
    for (const char* saver : {".png", ".jpg"}) {
        Picture strip{10000, 20, 3, Bytes(10000 * 20 * 3, 0x70)};
        for (std::size_t k = 0; k < strip.samples.size(); ++k)
            if (k % 30000 >= 15000)
                strip.samples[k] = 0x30;
        const auto image = NSImage::imageWithData(encoded(strip, saver));
        ASSERT_TRUE(image) << saver;
        EXPECT_EQ(image->size(), (NSSize{5000, 10})) << saver;
        const auto pixels = pixelsOf(image);
        for (const std::size_t row : {0u, 9u}) {
            EXPECT_NEAR(pixels[row * 5000 + 2480] & 255, 0x70, 2) << saver;
            EXPECT_NEAR(pixels[row * 5000 + 2520] & 255, 0x30, 2) << saver;
        }
    }
}

// A decoder that is told to leave out more rows than there are leaves none, and the library aborts over it.
TEST(ImageDecoding, AStripThinnerThanItsScaleIsStillAPicture)
{
    for (const auto& [width, height, size] : {std::tuple(17000, 3, NSSize{4250, 1}), {3, 17000, NSSize{1, 4250}},
             {40000, 1, NSSize{8000, 1}}, {17000, 4, NSSize{4250, 1}}}) {
        const Picture strip{width, height, 3, Bytes(std::size_t(width) * std::size_t(height) * 3, 0x70)};
        const auto image = NSImage::imageWithData(encoded(strip, ".jpg"));
        ASSERT_TRUE(image) << width << "x" << height;
        EXPECT_EQ(image->size(), size) << width << "x" << height;
    }
}

TEST(ImageDecoding, ManyThreadsMayDecodeAtOnce)
{
    const Bytes files[] = {encoded(smallPicture(), ".png"), encoded(smallPicture(), ".gif"), {1, 2, 3}};
    const auto expected = pixelsOf(NSImage::imageWithData(files[0]));
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            for (int k = 0; k < 60; ++k) {
                const auto pixels = pixelsOf(NSImage::imageWithData(files[k % 3]));
                wrong += k % 3 == 2 ? !pixels.empty() : pixels != expected;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(Representations, ReadBackAsTheyWere)
{
    const Bitmap plain{64, 32, std::vector<std::uint32_t>(64 * 32, 0xFF20C040u)};
    EXPECT_TRUE(isOpaque(plain));
    const auto jpeg = NSImage::imageWithData(jpegRepresentation(plain).value_or(Bytes()));
    ASSERT_TRUE(jpeg);
    EXPECT_EQ(jpeg->size(), (NSSize{64, 32}));
    for (const std::uint32_t word : pixelsOf(jpeg))
        for (const int shift : {0, 8, 16, 24})
            ASSERT_NEAR(double(word >> shift & 255), double(0xFF20C040u >> shift & 255), 4);
    const Bitmap bitmap{3, 2, {0xFFFF0000, 0x80804000, 0, 0x33020406, 0xFFFFFFFF, 0x01010101}};
    EXPECT_EQ(pixelsOf(NSImage::imageWithData(pngRepresentation(bitmap).value_or(Bytes()))), bitmap.pixels);
    const auto opaque = pngRepresentation({1, 1, {0xFF123456}});
    ASSERT_TRUE(opaque);
    EXPECT_EQ((*opaque)[25], 2) << "colour type without alpha";
    EXPECT_EQ(pixelsOf(NSImage::imageWithData(*opaque)), std::vector<std::uint32_t>{0xFF123456});
    EXPECT_FALSE(jpegRepresentation({}));
    EXPECT_FALSE(pngRepresentation({}));
    EXPECT_FALSE(pngRepresentation({2, 2, {1}}));
}

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
// By the rule itself, in two bands, for pictures that end within a pixel; nothing is written beside them.
TEST(Enlarged, RunsEvenlyFromPixelToPixel)
{
    Bitmap bitmap{7, 5, {}};
    for (std::uint32_t k = 0; k < 35; ++k)
        bitmap.pixels.push_back(k % 4 ? 0xFFFFFFFFu - k * 2654435761u : 0xFFFFFFFFu);
    for (const int factor : {2, 3, 4}) {
        const int width = 7 * factor - 1, height = 5 * factor - 1, wide = width + 3;
        std::vector<std::uint32_t> rows(std::size_t(wide * height), 0x12345678u);
        enlarge(bitmap, factor, rows.data(), width, std::size_t(wide), 0, 4);
        enlarge(bitmap, factor, rows.data(), width, std::size_t(wide), 4, height);
        const auto weight = [&](int out, int in, int count) { // a tent, the ends held
            const double at = std::clamp((out + 0.5) / factor - 0.5, 0.0, count - 1.0);
            return std::max(0.0, 1 - std::fabs(at - in));
        };
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < wide; ++x)
                for (const int shift : {0, 8, 16, 24}) {
                    double expected = x < width ? 0 : 0x12345678u >> shift & 255;
                    for (int v = 0; x < width && v < 5; ++v)
                        for (int u = 0; u < 7; ++u)
                            expected += weight(y, v, 5) * weight(x, u, 7)
                                * double(bitmap.pixels[std::size_t(v * 7 + u)] >> shift & 255);
                    ASSERT_NEAR(rows[std::size_t(y * wide + x)] >> shift & 255, expected, x < width ? 2 : 0)
                        << factor << ' ' << x << ' ' << y;
                }
    }
}

// What alternates by a step is a half everywhere once it is smoothed, and shown as as many of the one as of the other;
// an even rise stays one, and the picture may end within a pixel.
TEST(Enlarged, ShowsWhatIsBetweenTwoSteps)
{
    SmoothEnlarging smooth;
    const auto shown = [&](auto channel, int columns, int rows, int width, int height) {
        Bitmap bitmap{columns, rows, {}};
        for (int k = 0; k < columns * rows; ++k)
            bitmap.pixels.push_back(0xFF000000u + 0x010101u * std::uint32_t(channel(k % columns)));
        smooth.take(bitmap);
        std::vector<std::uint32_t> out(std::size_t(width * height) + 1, 0x12345678u);
        smooth.write(out.data(), width, 0, 3);
        smooth.write(out.data() + 3 * width, width, 3, height);
        EXPECT_EQ(out.back(), 0x12345678u);
        for (std::size_t k = 0; k + 1 < out.size(); ++k)
            EXPECT_EQ(out[k], 0xFF000000u + 0x010101u * (out[k] & 255));
        return out;
    };
    const auto halves = shown([](int x) { return 100 + x % 2; }, 8, 4, 32, 16);
    for (int y = 0; y < 16; y += 4) {
        for (int x = 8; x < 24; x += 4) { // the outermost pixels stay as they are
            int sum = 0;
            for (int k = 0; k < 16; ++k)
                sum += int(halves[std::size_t((y + k / 4) * 32 + x + k % 4)] & 255);
            EXPECT_EQ(sum, 16 * 100 + 8) << x << ' ' << y;
        }
    }
    const auto rise = shown([](int x) { return 40 + 8 * x; }, 10, 1, 37, 4);
    for (int x = 0; x < 37; ++x)
        EXPECT_NEAR(rise[std::size_t(x)] & 255, 40 + 8 * ((x + 0.5) / 4 - 0.5), 1) << x;
}

} // namespace vitrel
