#pragma once

#include "platform/appkit/Surface.h"
#include "platform/appkit/x11/X11Connection.h"

#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace vitrel {

// Shows frames in a window of an X server through memory that both share, which on a software renderer costs a tenth
// of swapping. There are two images, so that the next frame is drawn while the server reads the last. Without shared
// memory, or where the window's pixels are of another kind, frames are sent and converted. Main thread.
class ShmSurface final : public Surface
{
public:
    // `isVisible` is asked before each frame.
    ShmSurface(std::shared_ptr<X11Connection> connection, unsigned long window, std::function<bool()> isVisible);
    ~ShmSurface() override;

    int width() const override { return width_; }
    int height() const override { return height_; }
    bool wantsFrame() const override;
    bool prefersSmoothness() const override { return true; }
    FrameMemory frameMemory() override;
    void present() override;
    NativeWindow nativeWindow() const override;
    void close() override;
    void setAlphaValue(double alpha) override;

    bool isShared() const { return shared_; }

private:
    struct Image;
    void handle(const void* event);
    bool makeImage(std::unique_ptr<Image>& image);
    void put(Image& image);
    void fillBlack();
    void convert(Image& image) const;

    std::shared_ptr<X11Connection> connection_;
    const unsigned long window_;
    std::function<bool()> isVisible_;
    int listener_ = 0;
    int width_ = 0, height_ = 0, depth_ = 0;
    void* visual_ = nullptr; // Visual*
    void* context_ = nullptr; // GC
    bool shared_ = false, direct_ = false, drawable_ = false, closed_ = false, black_ = false;
    std::array<std::unique_ptr<Image>, 2> images_;
    int next_ = 0; // the image that frameMemory gave, or will give
    int shown_ = -1; // the image shown last; -1 before the first
    std::vector<std::uint32_t> frame_; // where the pixels are of another kind
};

} // namespace vitrel
