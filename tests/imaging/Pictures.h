#pragma once

#include "platform/appkit/NSImage.h"

#include <memory>
#include <utility>
#include <vector>

namespace vitrel {

inline std::shared_ptr<const NSImage> imageOf(int width, int height, std::vector<std::uint32_t> words)
{
    return std::make_shared<const NSImage>(std::make_shared<const Bitmap>(Bitmap{width, height, std::move(words)}));
}

inline std::shared_ptr<const NSImage> plainImage(int width, int height, std::uint32_t word)
{
    return imageOf(width, height, std::vector<std::uint32_t>(std::size_t(width) * std::size_t(height), word));
}

// Something to see in every direction: colours that run, and discs with sharp edges.
inline std::shared_ptr<const NSImage> drawnCover(int width, int height)
{
    std::vector<std::uint32_t> words;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double dx = double(x) / width - 0.5, dy = double(y) / height - 0.4;
            const bool disc = dx * dx + dy * dy < 0.06,
                       small = (dx - 0.2) * (dx - 0.2) + (dy - 0.3) * (dy - 0.3) < 0.02;
            words.push_back(disc ? 0xFFF0D060
                    : small      ? 0xFF103020
                            : 0xFF000000u | unsigned(255 * x / width) << 16 | 96u << 8 | unsigned(255 * y / height));
        }
    return imageOf(width, height, std::move(words));
}

// The pixels of the first representation; none if there are none.
inline const std::vector<std::uint32_t>& wordsOf(const NSImage& image)
{
    static const std::vector<std::uint32_t> none;
    if (image.representations().empty() || !image.representations()[0].bitmap())
        return none;
    return image.representations()[0].bitmap()->pixels;
}

inline std::uint32_t wordAt(const NSImage& image, int x, int y)
{
    return wordsOf(image).at(std::size_t(y * image.representations().at(0).pixelsWide() + x));
}

} // namespace vitrel
