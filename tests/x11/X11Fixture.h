#pragma once

#include "platform/appkit/Surface.h"
#include "platform/appkit/x11/X11Connection.h"
#include "support/RealLoop.h"
#include "x11/Onlooker.h"
#include "x11/XvfbServer.h"

#include <gtest/gtest.h>

#include <memory>

namespace vitrel {

// A server, a connection of ours, and one of somebody else who looks and interferes.
class X11 : public testing::Test
{
protected:
    void SetUp() override { start("640x480x24"); }
    // Another server in the place of the first.
    void start(const std::string& screen, const std::vector<std::string>& more = {})
    {
        connection_.reset();
        other_.reset();
        server_ = std::make_unique<XvfbServer>(screen, more);
        if (server_->display().empty())
            GTEST_SKIP() << "no Xvfb here";
        connection_ = X11Connection::open(loop_, server_->display());
        ASSERT_TRUE(connection_);
        other_ = std::make_unique<Onlooker>(server_->display());
        ASSERT_TRUE(*other_);
    }

    template <class Done> bool turnUntil(Done done) { return real_.turnUntil(done, 10); }
    void turnFor(Seconds span)
    {
        const Seconds end = clock_.now() + span;
        turnUntil([&] { return clock_.now() >= end; });
    }

    // Two connections are served in no order, so what one has sent is looked for until it is there.
    bool becomes(Window window, int x, int y, unsigned long pixel)
    {
        return turnUntil([&] { return other_->pixelAt(window, x, y) == pixel; });
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

    int grabPointer()
    {
        return XGrabPointer(*other_, other_->root(), True, 0, GrabModeAsync, GrabModeAsync, None, None, CurrentTime);
    }

    RealLoop real_;
    SystemClock& clock_ = real_.clock;
    RunLoop& loop_ = real_.loop;
    std::unique_ptr<XvfbServer> server_;
    std::shared_ptr<X11Connection> connection_;
    std::unique_ptr<Onlooker> other_;
};

} // namespace vitrel
