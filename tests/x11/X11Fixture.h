#pragma once

#include "platform/appkit/Surface.h"
#include "platform/appkit/x11/X11Connection.h"
#include "support/RealLoop.h"
#include "x11/XvfbServer.h"

#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <utility>

namespace vitrel {

// A server, a connection of ours, and one of somebody else who looks and interferes.
class X11 : public testing::Test
{
protected:
    void SetUp() override { start("640x480x24"); }
    // Another server in the place of the first.
    void start(const std::string& screen, std::vector<std::string> more = {})
    {
        connection_.reset();
        if (other_)
            XCloseDisplay(std::exchange(other_, nullptr));
        server_ = std::make_unique<XvfbServer>(screen, std::move(more));
        if (server_->display().empty())
            GTEST_SKIP() << "no Xvfb here";
        connection_ = X11Connection::open(loop_, server_->display());
        ASSERT_TRUE(connection_);
        other_ = XOpenDisplay(server_->display().c_str());
        ASSERT_TRUE(other_);
        XSetIOErrorExitHandler(
            other_, [](Display*, void*) {}, nullptr);
    }
    ~X11() override
    {
        if (other_)
            XCloseDisplay(other_);
    }

    template <class Done> bool turnUntil(Done done) { return real_.turnUntil(done, 10); }
    void turnFor(Seconds span)
    {
        const Seconds end = clock_.now() + span;
        turnUntil([&] { return clock_.now() >= end; });
    }

    unsigned long pixelAt(Window window, int x, int y)
    {
        XSync(other_, False);
        XImage* image = XGetImage(other_, window, x, y, 1, 1, AllPlanes, ZPixmap);
        if (!image)
            return 0xBAD;
        const auto pixel = XGetPixel(image, 0, 0);
        XDestroyImage(image);
        return pixel;
    }

    // Two connections are served in no order, so what one has sent is looked for until it is there.
    bool becomes(Window window, int x, int y, unsigned long pixel)
    {
        return turnUntil([&] { return pixelAt(window, x, y) == pixel; });
    }

    bool show(Surface& surface, std::uint32_t colour)
    {
        if (!turnUntil([&] { return surface.wantsFrame(); }))
            return false;
        const auto memory = surface.frameMemory();
        if (!memory.pixels)
            return false;
        for (int y = 0; y < surface.height(); ++y)
            for (int x = 0; x < surface.width(); ++x)
                memory.pixels[std::size_t(y) * memory.wordsPerRow + std::size_t(x)]
                    = y == 0 && x == 0 ? 0xFFFFFFFF : colour;
        surface.present();
        return turnUntil([&] { return surface.wantsFrame(); });
    }

    Window root() const { return DefaultRootWindow(other_); }
    void movePointer(int x, int y)
    {
        XWarpPointer(other_, None, root(), 0, 0, 0, 0, x, y);
        XSync(other_, False);
    }
    int grabPointer()
    {
        return XGrabPointer(other_, root(), True, 0, GrabModeAsync, GrabModeAsync, None, None, CurrentTime);
    }

    Window foreignWindow(int width, int height)
    {
        const Window window = XCreateSimpleWindow(other_, root(), 0, 0, unsigned(width), unsigned(height), 0, 0, 0);
        XMapWindow(other_, window);
        XSync(other_, False);
        return window;
    }

    RealLoop real_;
    SystemClock& clock_ = real_.clock;
    RunLoop& loop_ = real_.loop;
    std::unique_ptr<XvfbServer> server_;
    std::shared_ptr<X11Connection> connection_;
    Display* other_ = nullptr;
};

} // namespace vitrel
