#pragma once

#include "platform/coreimage/CIContext.h"
#include "platform/coreimage/CIFilter.h"

#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace vitrel {

inline CIImage imageOf(int width, int height, std::vector<std::uint32_t> words)
{
    return CIImage::imageWithBitmapImageRep(
        NSBitmapImageRep(std::make_shared<const Bitmap>(Bitmap{width, height, std::move(words)})));
}

// A picture without any pattern, opaque.
inline Bitmap noise(int width, int height)
{
    Bitmap bitmap{width, height, {}};
    std::uint32_t state = 12345;
    for (int k = 0; k < width * height; ++k) {
        state = state * 1664525u + 1013904223u;
        bitmap.pixels.push_back(0xFF000000u | state >> 8);
    }
    return bitmap;
}

inline std::vector<std::uint32_t> pixelsOf(const CIImage& image, NSRect rect)
{
    const auto bitmap = CIContext().createCGImageFromRect(image, rect);
    return bitmap ? bitmap->pixels : std::vector<std::uint32_t>{};
}

inline std::optional<CIImage> filtered(
    const char* name, std::initializer_list<std::pair<const char*, CIParameter>> parameters)
{
    auto filter = CIFilter::filterWithName(name);
    if (!filter)
        return std::nullopt;
    for (const auto& [key, value] : parameters)
        filter->setValueForKey(value, key);
    return filter->outputImage();
}

} // namespace vitrel
