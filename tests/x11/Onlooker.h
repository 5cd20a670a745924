#pragma once

// Ahead of the macros of Xlib.
#include <gmock/gmock.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <string>

namespace vitrel {

// Somebody else on an X server, who looks and interferes. What he does has been done when a call returns.
class Onlooker
{
public:
    explicit Onlooker(const std::string& display)
        : display_(XOpenDisplay(display.c_str()))
    {
        if (display_)
            XSetIOErrorExitHandler(
                display_, [](Display*, void*) {}, nullptr);
    }
    ~Onlooker()
    {
        if (display_)
            XCloseDisplay(display_);
    }
    Onlooker(const Onlooker&) = delete;
    Onlooker& operator=(const Onlooker&) = delete;

    operator Display*() const { return display_; }
    Window root() const { return DefaultRootWindow(display_); }
    void sync() const { XSync(display_, False); }
    // 0xBAD without a picture.
    unsigned long pixelAt(Window window, int x, int y) const
    {
        sync();
        XImage* image = XGetImage(display_, window, x, y, 1, 1, AllPlanes, ZPixmap);
        if (!image)
            return 0xBAD;
        const auto pixel = XGetPixel(image, 0, 0) & 0xFFFFFF;
        XDestroyImage(image);
        return pixel;
    }
    Window makeWindow(int x, int y, int width, int height, unsigned long colour = 0) const
    {
        const Window window
            = XCreateSimpleWindow(display_, root(), x, y, unsigned(width), unsigned(height), 0, 0, colour);
        XMapWindow(display_, window);
        sync();
        return window;
    }
    void resize(Window window, int width, int height) const
    {
        XResizeWindow(display_, window, unsigned(width), unsigned(height));
        sync();
    }
    void destroy(Window window) const
    {
        XDestroyWindow(display_, window);
        sync();
    }
    void movePointer(int x, int y) const
    {
        XWarpPointer(display_, None, root(), 0, 0, 0, 0, x, y);
        sync();
    }
    void pressAKey(Window window) const
    {
        XEvent event{};
        event.xkey.type = KeyPress;
        event.xkey.window = window;
        event.xkey.root = root();
        event.xkey.keycode = 38;
        XSendEvent(display_, window, False, KeyPressMask, &event);
        sync();
    }

private:
    Display* const display_;
};

} // namespace vitrel
