#include "platform/appkit/x11/X11Backdrop.h"

#include "platform/appkit/x11/X11Private.h"

#include <X11/Xutil.h>

namespace vitrel {

std::unique_ptr<X11Backdrop> X11Backdrop::take(
    std::shared_ptr<X11Connection> connection, int x, int y, int width, int height)
{
    if (!connection->isAlive() || width < 1 || height < 1)
        return nullptr;
    Display* display = displayOf(*connection);
    const int screen = DefaultScreen(display);
    const Visual& visual = *DefaultVisual(display, screen);
    const int depth = DefaultDepth(display, screen);
    if (depth != 24 || visual.red_mask != 0xFF0000 || visual.green_mask != 0xFF00 || visual.blue_mask != 0xFF)
        return nullptr;
    const Window root = connection->rootWindow();
    X11ErrorTrap trap(*connection);
    const Pixmap pixmap = XCreatePixmap(display, root, unsigned(width), unsigned(height), unsigned(depth));
    XGCValues values{};
    values.subwindow_mode = IncludeInferiors;
    values.graphics_exposures = False;
    const GC context = XCreateGC(display, root, GCSubwindowMode | GCGraphicsExposures, &values);
    XCopyArea(display, root, pixmap, context, x, y, unsigned(width), unsigned(height), 0, 0);
    XFreeGC(display, context);
    std::unique_ptr<X11Backdrop> backdrop(new X11Backdrop(std::move(connection), pixmap, width, height));
    return trap.failed() ? nullptr : std::move(backdrop);
}

X11Backdrop::~X11Backdrop()
{
    if (connection_->isAlive())
        XFreePixmap(displayOf(*connection_), pixmap_);
}

Bitmap X11Backdrop::picture() const
{
    if (!connection_->isAlive())
        return {};
    XImage* image
        = XGetImage(displayOf(*connection_), pixmap_, 0, 0, unsigned(width_), unsigned(height_), AllPlanes, ZPixmap);
    connection_->flush();
    if (!image)
        return {};
    Bitmap bitmap{width_, height_, {}};
    if (image->bits_per_pixel == 32) {
        bitmap.pixels.reserve(std::size_t(width_) * std::size_t(height_));
        for (int y = 0; y < height_; ++y) {
            const auto* row = reinterpret_cast<const std::uint32_t*>(
                image->data + std::size_t(y) * std::size_t(image->bytes_per_line));
            for (int x = 0; x < width_; ++x)
                bitmap.pixels.push_back(row[x] | 0xFF000000);
        }
    }
    XDestroyImage(image);
    return bitmap;
}

} // namespace vitrel
