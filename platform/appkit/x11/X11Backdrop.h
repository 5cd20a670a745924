#pragma once

#include "platform/appkit/Bitmap.h"
#include "platform/appkit/x11/X11Connection.h"

#include <memory>

namespace vitrel {

// What a part of the screen shows, kept by the server, so that a window over it can come up looking the same. Main
// thread.
class X11Backdrop
{
public:
    // In pixels of the root window. Null where the screen can't be read or has other pixels than 0xRRGGBB.
    static std::unique_ptr<X11Backdrop> take(
        std::shared_ptr<X11Connection> connection, int x, int y, int width, int height);
    ~X11Backdrop();
    X11Backdrop(const X11Backdrop&) = delete;
    X11Backdrop& operator=(const X11Backdrop&) = delete;

    unsigned long pixmap() const { return pixmap_; }
    // Opaque. Empty if the server has gone.
    Bitmap picture() const;

private:
    X11Backdrop(std::shared_ptr<X11Connection> connection, unsigned long pixmap, int width, int height)
        : connection_(std::move(connection))
        , pixmap_(pixmap)
        , width_(width)
        , height_(height)
    { }

    std::shared_ptr<X11Connection> connection_;
    const unsigned long pixmap_;
    const int width_, height_;
};

} // namespace vitrel
