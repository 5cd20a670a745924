#include "platform/appkit/NSImage.h"
#include "platform/appkit/VipsSupport.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace vitrel {

namespace {

// Covers of a few megabytes are usual; what is larger is no artwork, and it all lies in memory while it is read.
constexpr std::size_t kMostInput = 64u << 20;
// Pixels that may be read row by row. Time grows with them, memory doesn't.
constexpr std::uint64_t kMostPixels = 64u << 20;
// Pixels of files that the library can only read as a whole (interlaced PNG, progressive JPEG, GIF, WebP), and of
// what is kept of any file: at 4 bytes each, and three copies at worst, this stays below 256 MiB.
constexpr std::uint64_t kMostPixelsAtOnce = 16u << 20;
// No format but TIFF knows a longer side, and a row has to fit in memory a few times over.
constexpr int kLongestSide = 65535;
// The least texture that OpenGL of our time promises in practice.
constexpr int kLongestResult = 8192;
// Red, green, blue or cyan, magenta, yellow, black, with alpha and some that TIFF adds.
constexpr int kMostBands = 8;
// A TIFF tile is decoded whole, and a row of them is kept.
constexpr std::uint64_t kMostTilePixels = 4u << 20;
// Rows that are pulled through the library at a time.
constexpr int kRowsAtOnce = 32;

enum class Format { PNG, JPEG, GIF, WebP, TIFF };

std::optional<Format> formatOf(ByteView data)
{
    const auto text = textOf(data);
    if (text.starts_with("\x89PNG\r\n\x1a\n"))
        return Format::PNG;
    if (text.starts_with("\xFF\xD8\xFF"))
        return Format::JPEG;
    if (text.starts_with("GIF87a") || text.starts_with("GIF89a"))
        return Format::GIF;
    if (text.size() >= 12 && text.starts_with("RIFF") && text.substr(8, 4) == "WEBP")
        return Format::WebP;
    if (text.starts_with(std::string_view("II*\0", 4)) || text.starts_with(std::string_view("MM\0*", 4))
        || text.starts_with(std::string_view("II+\0", 4)) || text.starts_with(std::string_view("MM\0+", 4)))
        return Format::TIFF;
    return std::nullopt;
}

// The library reserves a row of whole tiles however small the picture is, so the tile's size is looked up first.
// True for everything but a TIFF whose first directory asks for tiles that are too large.
bool tilesAreSmall(ByteView data)
{
    const bool little = data[0] == 'I';
    const auto number = [&](std::uint64_t at, int length) -> std::uint64_t {
        std::uint64_t value = 0;
        for (int k = 0; k < length && at + k < data.size(); ++k)
            value |= std::uint64_t(data[at + k]) << 8 * (little ? k : length - 1 - k);
        return value;
    };
    const bool big = number(2, 2) == 43;
    std::uint64_t at = big ? number(8, 8) : number(4, 4);
    if (at >= data.size())
        return true; // broken, as the reader will find
    const std::uint64_t entries = number(at, big ? 8 : 2);
    at += big ? 8 : 2;
    std::uint64_t sides[2] = {1, 1};
    for (std::uint64_t k = 0; k < entries && at < data.size(); ++k, at += big ? 20 : 12) {
        const std::uint64_t tag = number(at, 2), type = number(at + 2, 2);
        if (tag == 322 || tag == 323)
            sides[tag - 322] = number(at + (big ? 12 : 8), type == 3 ? 2 : type == 16 ? 8 : type == 1 ? 1 : 4);
    }
    return sides[0] <= kMostTilePixels && sides[1] <= kMostTilePixels && sides[0] * sides[1] <= kMostTilePixels;
}

VipsImageHandle open(Format format, ByteView data, int jpegShrink)
{
    void* bytes = const_cast<std::uint8_t*>(data.data());
    VipsImage* out = nullptr;
    int failed = 1;
    // Named loaders rather than the library's own search, so that no other loader ever sees the bytes. A file that
    // ends early is broken; small damage that the decoders get over is not.
    switch (format) {
    case Format::PNG:
        failed = vips_pngload_buffer(
            bytes, data.size(), &out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
        break;
    case Format::JPEG:
        failed = vips_jpegload_buffer(bytes, data.size(), &out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
            VIPS_FAIL_ON_TRUNCATED, "shrink", jpegShrink, nullptr);
        break;
    case Format::GIF:
        failed = vips_gifload_buffer(
            bytes, data.size(), &out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
        break;
    case Format::WebP:
        failed = vips_webpload_buffer(
            bytes, data.size(), &out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
        break;
    case Format::TIFF:
        failed = vips_tiffload_buffer(
            bytes, data.size(), &out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
        break;
    }
    return failed ? nullptr : VipsImageHandle(out);
}

std::uint64_t pixelsOf(const VipsImage* image)
{
    return std::uint64_t(vips_image_get_width(image)) * std::uint64_t(vips_image_get_height(image));
}

bool isSet(VipsImage* image, const char* name)
{
    int value = 0;
    return vips_image_get_typeof(image, name) != 0 && vips_image_get_int(image, name, &value) == 0 && value != 0;
}

bool isWithinLimits(VipsImage* image, Format format)
{
    const int width = vips_image_get_width(image), height = vips_image_get_height(image);
    const int bands = vips_image_get_bands(image);
    if (width < 1 || height < 1 || width > kLongestSide || height > kLongestSide || bands < 1 || bands > kMostBands)
        return false;
    if (vips_band_format_iscomplex(vips_image_get_format(image)))
        return false;
    const bool asAWhole = format == Format::GIF || format == Format::WebP
        || (format == Format::JPEG && isSet(image, "jpeg-multiscan"))
        || (format == Format::PNG && isSet(image, "interlaced"));
    return pixelsOf(image) <= (asAWhole ? kMostPixelsAtOnce : kMostPixels);
}

// How much of a side may stay so that the result is within its limits; 1 for nearly every image.
double scaleOf(const VipsImage* image)
{
    const double longest = std::max(vips_image_get_width(image), vips_image_get_height(image));
    return std::min({1.0, kLongestResult / longest, std::sqrt(double(kMostPixelsAtOnce) / double(pixelsOf(image)))});
}

// 8-bit sRGB, with or without alpha. Null if the library can't get there.
VipsImageHandle toSRGB(VipsImageHandle image)
{
    const auto interpretation = vips_image_guess_interpretation(image.get());
    const bool cmyk = interpretation == VIPS_INTERPRETATION_CMYK;
    if (cmyk || vips_image_get_typeof(image.get(), VIPS_META_ICC_NAME) != 0) {
        VipsImage* out = nullptr;
        if (vips_icc_transform(image.get(), &out, "srgb", "embedded", TRUE, "input_profile", cmyk ? "cmyk" : "srgb",
                "intent", VIPS_INTENT_PERCEPTUAL, "depth", 8, nullptr)
            == 0)
            return VipsImageHandle(out);
    }
    VipsImage* out = nullptr;
    if (vips_colourspace(image.get(), &out, VIPS_INTERPRETATION_sRGB, nullptr) != 0)
        return nullptr;
    return VipsImageHandle(out);
}

VipsImageHandle cast8(VipsImageHandle image)
{
    if (!image || vips_image_get_format(image.get()) == VIPS_FORMAT_UCHAR)
        return image;
    VipsImage* out = nullptr;
    return vips_cast_uchar(image.get(), &out, nullptr) == 0 ? VipsImageHandle(out) : nullptr;
}

// Rows of one to four 8-bit bands to words; `premultiplied` says what the bands already are.
void packRow(const std::uint8_t* from, int bands, int used, bool premultiplied, std::uint32_t* to, int width)
{
    const auto times = [](unsigned channel, unsigned alpha) {
        const unsigned product = channel * alpha + 128;
        return (product + (product >> 8)) >> 8;
    };
    for (int x = 0; x < width; ++x, from += bands) {
        unsigned red = from[0], green = used < 3 ? red : from[1], blue = used < 3 ? red : from[2];
        const unsigned alpha = used == 2 ? from[1] : used == 4 ? from[3] : 255;
        if (alpha != 255) {
            red = premultiplied ? std::min(red, alpha) : times(red, alpha);
            green = premultiplied ? std::min(green, alpha) : times(green, alpha);
            blue = premultiplied ? std::min(blue, alpha) : times(blue, alpha);
        }
        to[x] = alpha << 24 | red << 16 | green << 8 | blue;
    }
}

// Pulls the pixels through, some rows at a time. False if the file turned out to be broken.
bool pull(VipsImage* image, bool premultiplied, Bitmap& bitmap)
{
    bitmap.width = vips_image_get_width(image);
    bitmap.height = vips_image_get_height(image);
    bitmap.pixels.resize(std::size_t(bitmap.width) * std::size_t(bitmap.height));
    const int bands = vips_image_get_bands(image), used = std::min(bands, 4);
    VipsRegion* region = vips_region_new(image);
    bool good = region != nullptr;
    for (int top = 0; good && top < bitmap.height; top += kRowsAtOnce) {
        const VipsRect rows{0, top, bitmap.width, std::min(kRowsAtOnce, bitmap.height - top)};
        good = vips_region_prepare(region, &rows) == 0;
        for (int y = top; good && y < top + rows.height; ++y)
            packRow(reinterpret_cast<const std::uint8_t*>(VIPS_REGION_ADDR(region, 0, y)), bands, used, premultiplied,
                bitmap.pixels.data() + std::size_t(y) * std::size_t(bitmap.width), bitmap.width);
    }
    if (region)
        g_object_unref(region);
    return good;
}

// EXIF orientation 1 to 8: 2, 4, 5, 7 are mirrored, 5 to 8 lie on their side.
Bitmap upright(Bitmap bitmap, int orientation)
{
    if (orientation < 2 || orientation > 8)
        return bitmap;
    const int width = bitmap.width, height = bitmap.height;
    const bool onSide = orientation >= 5;
    Bitmap out{onSide ? height : width, onSide ? width : height, {}};
    out.pixels.resize(bitmap.pixels.size());
    const bool fromRight = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool fromBottom = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    std::size_t at = 0;
    for (int y = 0; y < out.height; ++y)
        for (int x = 0; x < out.width; ++x) {
            const int column = onSide ? y : x, row = onSide ? x : y;
            const int fromX = fromRight ? width - 1 - column : column;
            const int fromY = fromBottom ? height - 1 - row : row;
            out.pixels[at++] = bitmap.pixels[std::size_t(fromY) * std::size_t(width) + std::size_t(fromX)];
        }
    return out;
}

std::optional<Bitmap> decode(ByteView data)
{
    const auto format = formatOf(data);
    if (!format || (*format == Format::TIFF && !tilesAreSmall(data)) || !vipsReady())
        return std::nullopt;
    auto image = open(*format, data, 1);
    if (!image || !isWithinLimits(image.get(), *format))
        return std::nullopt;
    const int orientation = vips_image_get_orientation(image.get());
    double scale = scaleOf(image.get());
    if (*format == Format::JPEG && scale <= 0.5) {
        image = open(*format, data, scale <= 0.125 ? 8 : scale <= 0.25 ? 4 : 2);
        if (!image)
            return std::nullopt;
        scale = scaleOf(image.get());
    }
    const bool shrinks = scale < 1;
    image = cast8(toSRGB(std::move(image)));
    if (image && shrinks) {
        // Straight colours would bleed out of transparent pixels.
        if (vips_image_hasalpha(image.get())) {
            VipsImage* out = nullptr;
            image = vips_premultiply(image.get(), &out, nullptr) == 0 ? VipsImageHandle(out) : nullptr;
        }
        VipsImage* out = nullptr;
        if (!image || vips_resize(image.get(), &out, scale, "kernel", VIPS_KERNEL_LINEAR, nullptr) != 0)
            return std::nullopt;
        image = cast8(VipsImageHandle(out));
    }
    Bitmap bitmap;
    if (!image || !pull(image.get(), shrinks, bitmap))
        return std::nullopt;
    image.reset();
    return upright(std::move(bitmap), orientation);
}

} // namespace

std::shared_ptr<const NSImage> NSImage::imageWithData(ByteView data)
{
    if (data.empty() || data.size() > kMostInput)
        return nullptr;
    auto bitmap = decode(data);
    if (vipsReady()) {
        vips_error_clear();
        vips_thread_shutdown();
    }
    if (!bitmap)
        return nullptr;
    return std::make_shared<const NSImage>(std::make_shared<const Bitmap>(std::move(*bitmap)));
}

} // namespace vitrel
