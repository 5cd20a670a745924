#pragma once

#include "platform/appkit/Bitmap.h"
#include "platform/appkit/Surface.h"

#include <memory>

namespace vitrel {

// A surface with no display behind it: the last frame stays in memory, for a picture file or a test. What was shown
// is shared, so that the surface may be gone when the frame is read. Main thread.
class MemorySurface final : public Surface
{
public:
    // Pixels; both at least 1.
    MemorySurface(int width, int height);

    int width() const override { return width_; }
    int height() const override { return height_; }
    bool wantsFrame() const override { return !closed_; }
    FrameMemory frameMemory() override;
    void present() override;
    void close() override { closed_ = true; }
    void setAlphaValue(double alpha) override { alpha_ = alpha; }

    // The next frame has this size.
    void resize(int width, int height);
    // The last frame shown; null before the first. Black, as a screen would be, at alpha 0.
    std::shared_ptr<const Bitmap> shown() const;
    unsigned frames() const { return frames_; }

private:
    int width_, height_;
    Bitmap next_;
    std::shared_ptr<const Bitmap> shown_;
    double alpha_ = 1;
    unsigned frames_ = 0;
    bool closed_ = false;
};

} // namespace vitrel
