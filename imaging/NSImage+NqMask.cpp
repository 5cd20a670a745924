#include "imaging/NSImage+NqMask.h"

namespace vitrel {

namespace {

std::shared_ptr<const Bitmap> bitmapOf(const std::shared_ptr<const NSImage>& image)
{
    if (!image || image->representations().empty())
        return nullptr;
    const auto& bitmap = image->representations().front().bitmap();
    return bitmap && !bitmap->pixels.empty() ? bitmap : nullptr;
}

// Rec. 601's shares, in 256ths; grey stays what it is.
unsigned brightness(std::uint32_t word)
{
    return ((word >> 16 & 255) * 77 + (word >> 8 & 255) * 150 + (word & 255) * 29 + 128) >> 8;
}

std::uint32_t weakened(std::uint32_t word, unsigned share)
{
    std::uint32_t result = 0;
    for (const int shift : {0, 8, 16, 24})
        result |= ((word >> shift & 255) * share + 127) / 255 << shift;
    return result;
}

} // namespace

std::shared_ptr<const NSImage> maskImageUsingMaskImage(
    const std::shared_ptr<const NSImage>& image, const std::shared_ptr<const NSImage>& mask)
{
    const auto pixels = bitmapOf(image), hiding = bitmapOf(mask);
    if (!pixels || !hiding)
        return image;
    Bitmap result{pixels->width, pixels->height, {}};
    result.pixels.reserve(pixels->pixels.size());
    for (int y = 0; y < result.height; ++y) {
        const auto row = std::size_t(std::int64_t(y) * hiding->height / result.height) * std::size_t(hiding->width);
        for (int x = 0; x < result.width; ++x) {
            const auto column = std::size_t(std::int64_t(x) * hiding->width / result.width);
            const unsigned share = 255 - brightness(hiding->pixels[row + column]);
            result.pixels.push_back(weakened(pixels->pixels[result.pixels.size()], share));
        }
    }
    return std::make_shared<const NSImage>(
        image->size(), std::vector{NSBitmapImageRep(std::make_shared<const Bitmap>(std::move(result)))});
}

std::shared_ptr<const NSImage> maskUsingMaskImage(
    const std::shared_ptr<const NSImage>& image, const std::shared_ptr<const NSImage>& mask)
{
    return maskImageUsingMaskImage(image, mask);
}

} // namespace vitrel
