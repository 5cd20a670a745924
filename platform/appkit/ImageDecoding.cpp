#include "platform/appkit/NSImage.h"
#include "platform/appkit/VipsSupport.h"

#include <algorithm>
#include <array>
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
// Bytes of a row of TIFF tiles, or of a strip: they are decoded whole, and the library keeps one or two.
constexpr std::uint64_t kMostTiffPiece = 32u << 20;
// The library reads strips of more rows than this row by row, unless each channel has strips of its own.
constexpr std::uint64_t kMostStripRows = 128;
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

// How a TIFF's first directory says its pixels are cut up.
struct TiffPieces {
    std::uint64_t tileWidth = 0, tileHeight = 0; // 0 if it has strips
    std::uint64_t stripRows = ~std::uint64_t(0);
    bool planar = false;
};

TiffPieces tiffPieces(ByteView data)
{
    const bool little = data[0] == 'I';
    const auto number = [&](std::uint64_t at, int length) -> std::uint64_t {
        std::uint64_t value = 0;
        for (int k = 0; k < length && at + k < data.size(); ++k)
            value |= std::uint64_t(data[at + k]) << 8 * (little ? k : length - 1 - k);
        return value;
    };
    TiffPieces pieces;
    const bool big = number(2, 2) == 43;
    std::uint64_t at = big ? number(8, 8) : number(4, 4);
    if (at >= data.size())
        return pieces; // broken, as the reader will find
    const std::uint64_t entries = number(at, big ? 8 : 2);
    at += big ? 8 : 2;
    for (std::uint64_t k = 0; k < entries && at < data.size(); ++k, at += big ? 20 : 12) {
        const std::uint64_t type = number(at + 2, 2);
        const std::uint64_t value = number(at + (big ? 12 : 8), type == 3 ? 2 : type == 16 ? 8 : type == 1 ? 1 : 4);
        switch (number(at, 2)) {
        case 278:
            pieces.stripRows = value;
            break;
        case 284:
            pieces.planar = value == 2;
            break;
        case 322:
            pieces.tileWidth = value;
            break;
        case 323:
            pieces.tileHeight = value;
            break;
        }
    }
    return pieces;
}

std::uint64_t sizeOfPixel(const VipsImage* image)
{
    return vips()->format_sizeof(vips()->image_get_format(image)) * std::uint64_t(vips()->image_get_bands(image));
}

bool piecesAreSmall(const TiffPieces& pieces, const VipsImage* image)
{
    const std::uint64_t most = kMostTiffPiece / sizeOfPixel(image);
    const auto width = std::uint64_t(vips()->image_get_width(image)),
               height = std::uint64_t(vips()->image_get_height(image));
    if (pieces.tileWidth || pieces.tileHeight)
        return pieces.tileWidth <= most && pieces.tileHeight <= most
            && (width + pieces.tileWidth) * pieces.tileHeight <= most;
    const std::uint64_t rows = std::min(pieces.stripRows, height);
    return (rows > kMostStripRows && !pieces.planar) || width * rows <= most;
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
        failed = vips()->pngload_buffer(
            bytes, data.size(), &out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
        break;
    case Format::JPEG:
        failed = vips()->jpegload_buffer(bytes, data.size(), &out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
            VIPS_FAIL_ON_TRUNCATED, "shrink", jpegShrink, nullptr);
        break;
    case Format::GIF:
        failed = vips()->gifload_buffer(
            bytes, data.size(), &out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
        break;
    case Format::WebP:
        failed = vips()->webpload_buffer(
            bytes, data.size(), &out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
        break;
    case Format::TIFF:
        failed = vips()->tiffload_buffer(
            bytes, data.size(), &out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
        break;
    }
    return failed ? nullptr : VipsImageHandle(out);
}

std::uint64_t pixelsOf(const VipsImage* image)
{
    return std::uint64_t(vips()->image_get_width(image)) * std::uint64_t(vips()->image_get_height(image));
}

bool isSet(VipsImage* image, const char* name)
{
    int value = 0;
    return vips()->image_get_typeof(image, name) != 0 && vips()->image_get_int(image, name, &value) == 0 && value != 0;
}

bool isWithinLimits(VipsImage* image, Format format, ByteView data)
{
    const int width = vips()->image_get_width(image), height = vips()->image_get_height(image);
    const int bands = vips()->image_get_bands(image);
    if (width < 1 || height < 1 || width > kLongestSide || height > kLongestSide || bands < 1 || bands > kMostBands)
        return false;
    if (vips()->band_format_iscomplex(vips()->image_get_format(image)))
        return false;
    if (format == Format::TIFF && !piecesAreSmall(tiffPieces(data), image))
        return false;
    const bool asAWhole = format == Format::GIF || format == Format::WebP
        || (format == Format::JPEG && isSet(image, "jpeg-multiscan"))
        || (format == Format::PNG && isSet(image, "interlaced"));
    return pixelsOf(image) <= (asAWhole ? kMostPixelsAtOnce : kMostPixels);
}

// How many pixels each way have to become one so that the result is within its limits; 1 for nearly every image.
int shrinkOf(const VipsImage* image)
{
    const int longest = std::max(vips()->image_get_width(image), vips()->image_get_height(image));
    const double most
        = std::max(double(longest) / kLongestResult, std::sqrt(double(pixelsOf(image)) / double(kMostPixelsAtOnce)));
    return std::max(1, int(std::ceil(most)));
}

// 8-bit sRGB, with or without alpha. Null if the library can't get there.
VipsImageHandle toSRGB(VipsImageHandle image)
{
    const auto interpretation = vips()->image_guess_interpretation(image.get());
    const bool cmyk = interpretation == VIPS_INTERPRETATION_CMYK;
    if (cmyk || vips()->image_get_typeof(image.get(), VIPS_META_ICC_NAME) != 0) {
        VipsImage* out = nullptr;
        if (vips()->icc_transform(image.get(), &out, "srgb", "embedded", TRUE, "input_profile", cmyk ? "cmyk" : "srgb",
                "intent", VIPS_INTENT_PERCEPTUAL, "depth", 8, nullptr)
            == 0)
            return VipsImageHandle(out);
    }
    VipsImage* out = nullptr;
    if (vips()->colourspace(image.get(), &out, VIPS_INTERPRETATION_sRGB, nullptr) != 0)
        return nullptr;
    return VipsImageHandle(out);
}

VipsImageHandle cast8(VipsImageHandle image)
{
    if (!image || vips()->image_get_format(image.get()) == VIPS_FORMAT_UCHAR)
        return image;
    VipsImage* out = nullptr;
    return vips()->cast_uchar(image.get(), &out, nullptr) == 0 ? VipsImageHandle(out) : nullptr;
}

// A row of one to four 8-bit bands (of which `bands` lie beside each other in memory) to premultiplied words.
void packRow(const std::uint8_t* from, int bands, std::uint32_t* to, int width)
{
    const auto times = [](unsigned channel, unsigned alpha) {
        const unsigned product = channel * alpha + 128;
        return (product + (product >> 8)) >> 8;
    };
    for (int x = 0; x < width; ++x, from += bands) {
        unsigned red = from[0], green = bands < 3 ? red : from[1], blue = bands < 3 ? red : from[2];
        const unsigned alpha = bands == 2 ? from[1] : bands >= 4 ? from[3] : 255;
        if (alpha != 255) {
            red = times(red, alpha);
            green = times(green, alpha);
            blue = times(blue, alpha);
        }
        to[x] = alpha << 24 | red << 16 | green << 8 | blue;
    }
}

// Takes rows of words and puts the mean of each `shrink` by `shrink` of them in the bitmap. What is over at the right
// and below is left out. The library's own resizing holds hundreds of megabytes of a very wide image.
class Shrinker
{
public:
    Shrinker(int width, int height, int shrink, Bitmap& bitmap)
        : bitmap_(bitmap)
        , shrink_(shrink)
        , columns_(std::min(width, shrink))
        , rows_(std::min(height, shrink))
    {
        bitmap_.width = std::max(1, width / shrink);
        bitmap_.height = std::max(1, height / shrink);
        bitmap_.pixels.resize(std::size_t(bitmap_.width) * std::size_t(bitmap_.height));
        sums_.resize(std::size_t(bitmap_.width));
    }

    void addRow(const std::uint32_t* words)
    {
        for (auto& sum : sums_) {
            for (int k = 0; k < columns_; ++k)
                for (int channel = 0; channel < 4; ++channel)
                    sum[std::size_t(channel)] += words[k] >> 8 * channel & 255;
            words += shrink_;
        }
        if (++taken_ < rows_ || next_ == bitmap_.pixels.size())
            return;
        const std::uint32_t count = std::uint32_t(columns_) * std::uint32_t(rows_);
        for (auto& sum : sums_) {
            std::uint32_t word = 0;
            for (int channel = 0; channel < 4; ++channel)
                word |= (sum[std::size_t(channel)] + count / 2) / count << 8 * channel;
            bitmap_.pixels[next_++] = word;
            sum = {};
        }
        taken_ = 0;
    }

private:
    Bitmap& bitmap_;
    const int shrink_, columns_, rows_;
    std::vector<std::array<std::uint32_t, 4>> sums_;
    int taken_ = 0;
    std::size_t next_ = 0;
};

// Pulls the pixels through, some rows at a time. False if the file turned out to be broken.
bool pull(VipsImage* image, int shrink, Bitmap& bitmap)
{
    const int width = vips()->image_get_width(image), height = vips()->image_get_height(image);
    const int bands = vips()->image_get_bands(image);
    Shrinker shrinker(width, height, shrink, bitmap);
    std::vector<std::uint32_t> row(std::size_t(shrink == 1 ? 0 : width));
    VipsRegion* region = vips()->region_new(image);
    bool good = region != nullptr;
    for (int top = 0; good && top < height; top += kRowsAtOnce) {
        const VipsRect rows{0, top, width, std::min(kRowsAtOnce, height - top)};
        good = vips()->region_prepare(region, &rows) == 0;
        for (int y = top; good && y < top + rows.height; ++y) {
            const auto* from
                = reinterpret_cast<const std::uint8_t*>(region->data) + (y - region->valid.top) * region->bpl;
            if (shrink == 1) {
                packRow(from, bands, bitmap.pixels.data() + std::size_t(y) * std::size_t(width), width);
            } else {
                packRow(from, bands, row.data(), width);
                shrinker.addRow(row.data());
            }
        }
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

std::optional<Bitmap> decode(Format format, ByteView data)
{
    auto image = open(format, data, 1);
    if (!image || !isWithinLimits(image.get(), format, data))
        return std::nullopt;
    const int orientation = vips()->image_get_orientation(image.get());
    int shrink = shrinkOf(image.get());
    if (format == Format::JPEG && shrink > 1) {
        // The decoder leaves pixels out at no cost. But where it would leave no row or column the library aborts.
        const int shorter = std::min(vips()->image_get_width(image.get()), vips()->image_get_height(image.get()));
        int leftOut = shrink > 4 ? 8 : shrink > 2 ? 4 : 2;
        while (leftOut > shorter)
            leftOut /= 2;
        image = open(format, data, leftOut);
        if (!image)
            return std::nullopt;
        shrink = shrinkOf(image.get());
    }
    image = cast8(toSRGB(std::move(image)));
    Bitmap bitmap;
    if (!image || !pull(image.get(), shrink, bitmap))
        return std::nullopt;
    image.reset();
    return upright(std::move(bitmap), orientation);
}

} // namespace

std::shared_ptr<const NSImage> NSImage::imageWithData(ByteView data)
{
    if (data.empty() || data.size() > kMostInput)
        return nullptr;
    const auto format = formatOf(data);
    if (!format || !vips())
        return nullptr;
    auto bitmap = decode(*format, data);
    vips()->error_clear();
    vips()->thread_shutdown();
    if (!bitmap)
        return nullptr;
    return std::make_shared<const NSImage>(std::make_shared<const Bitmap>(std::move(*bitmap)));
}

} // namespace vitrel
