#pragma once

#include "platform/appkit/Surface.h"
#include "platform/foundation/RunLoop.h"

#include <functional>
#include <string>
#include <string_view>

namespace vitrel {

// What the child draws its frames on: memory that the window sees. Takes the window's messages from the run loop.
// Main thread.
class PreviewSurface final : public Surface
{
public:
    // `socket` stays the caller's. Pixels; both at least 1.
    PreviewSurface(RunLoop& loop, int socket, int width, int height);
    ~PreviewSurface() override;

    int width() const override { return width_; }
    int height() const override { return height_; }
    bool wantsFrame() const override;
    FrameMemory frameMemory() override;
    void present() override;
    void close() override { closed_ = true; }

    std::function<void(int width, int height)> onResize;
    std::function<void()> onReload;
    // What the window says; it may be any bytes.
    std::function<void(const std::string& words)> onWords;
    // Says something to the window.
    void say(std::string_view words);
    // The window has gone.
    std::function<void()> onEnd;

private:
    void receive();
    void makeMemory(int width, int height);

    RunLoop& loop_;
    const int socket_;
    int width_ = 0, height_ = 0;
    std::uint32_t* pixels_ = nullptr;
    int slot_ = 0;
    int untaken_ = 0; // frames sent that may be shown still
    bool shown_ = true, closed_ = false;
};

} // namespace vitrel
