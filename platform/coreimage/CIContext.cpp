#include "platform/coreimage/CIContext.h"

#include "platform/coreimage/ImageNode.h"
#include "platform/coreimage/Parallel.h"

#include <algorithm>

namespace vitrel {

namespace {

// As for decoded images: the least texture that OpenGL of our time promises, and 64 MiB of pixels.
constexpr int kLongestSide = 8192;
constexpr double kMostPixels = 16.0 * 1024 * 1024;
// Pixels of a tile: a few of them, at 16 bytes a pixel, stay in a core's cache.
constexpr int kTileWidth = 256, kTileHeight = 64;

} // namespace

CIContext::Size CIContext::pixelsOfRect(NSRect rect)
{
    const PixelRect pixels = pixelsTouchedBy(rect);
    if (pixels.isEmpty() || pixels.width > kLongestSide || pixels.height > kLongestSide || pixels.area() > kMostPixels)
        return {};
    return {pixels.width, pixels.height};
}

std::shared_ptr<const Bitmap> CIContext::createCGImageFromRect(const CIImage& image, NSRect rect) const
{
    const Size size = pixelsOfRect(rect);
    const int width = size.width, height = size.height;
    if (width == 0)
        return nullptr;
    Bitmap bitmap{width, height, std::vector<std::uint32_t>(std::size_t(width) * std::size_t(height))};
    if (!image.node())
        return std::make_shared<const Bitmap>(std::move(bitmap));
    const PixelRect whole = pixelsTouchedBy(rect);
    Rendering rendering;
    const OpenInput input(*image.node(), whole, rendering);
    if (rendering.failed)
        return nullptr;
    const std::size_t columns = std::size_t((width + kTileWidth - 1) / kTileWidth);
    const std::size_t rows = std::size_t((height + kTileHeight - 1) / kTileHeight);
    forEachInParallel(columns * rows, [&](std::size_t tile) {
        const int left = int(tile % columns) * kTileWidth, bottom = int(tile / columns) * kTileHeight;
        const PixelRect part{whole.x + left, whole.y + bottom, std::min(kTileWidth, width - left),
            std::min(kTileHeight, height - bottom)};
        const PixelBuffer buffer(part);
        input.read(part, buffer.target());
        for (int y = 0; y < part.height; ++y) {
            const auto row = std::size_t(height - 1 - bottom - y);
            packRow(buffer.row(y), bitmap.pixels.data() + row * std::size_t(width) + left, part.width);
        }
    });
    return std::make_shared<const Bitmap>(std::move(bitmap));
}

} // namespace vitrel
