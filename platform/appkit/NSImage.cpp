#include "platform/appkit/NSImage.h"

#include <cairo.h>

#include <cstring>

namespace vitrel {

NSImage::NSImage(std::shared_ptr<const Bitmap> bitmap)
    : size_{bitmap ? double(bitmap->width) : 0, bitmap ? double(bitmap->height) : 0}
{
    if (bitmap)
        representations_.emplace_back(std::move(bitmap));
}

NSImage::NSImage(NSSize size, std::vector<NSBitmapImageRep> representations)
    : size_(size)
    , representations_(std::move(representations))
{ }

NSImage::NSImage(std::shared_ptr<const NSImageRep> representation)
    : size_(representation ? representation->size() : NSSize{})
{
    if (representation)
        representations_.emplace_back(std::move(representation));
}

std::shared_ptr<const NSImage> NSImage::imageWithResource(const std::string& path)
{
    const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
        cairo_image_surface_create_from_png(path.c_str()), cairo_surface_destroy);
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS)
        return nullptr;
    const bool hasAlpha = cairo_image_surface_get_format(surface.get()) == CAIRO_FORMAT_ARGB32;
    if (!hasAlpha && cairo_image_surface_get_format(surface.get()) != CAIRO_FORMAT_RGB24)
        return nullptr;
    Bitmap bitmap{cairo_image_surface_get_width(surface.get()), cairo_image_surface_get_height(surface.get()), {}};
    const std::size_t width = std::size_t(bitmap.width),
                      stride = std::size_t(cairo_image_surface_get_stride(surface.get()));
    bitmap.pixels.resize(width * std::size_t(bitmap.height));
    const unsigned char* from = cairo_image_surface_get_data(surface.get());
    for (std::size_t y = 0; y < std::size_t(bitmap.height); ++y)
        std::memcpy(bitmap.pixels.data() + y * width, from + y * stride, width * 4);
    if (!hasAlpha) {
        for (auto& word : bitmap.pixels)
            word |= 0xFF000000;
    }
    return std::make_shared<const NSImage>(std::make_shared<const Bitmap>(std::move(bitmap)));
}

} // namespace vitrel
