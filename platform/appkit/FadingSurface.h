#pragma once

#include "platform/appkit/Bitmap.h"
#include "platform/appkit/Surface.h"
#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>
#include <vector>

namespace vitrel {

// Lets a saver's picture rise from what was on the screen before. The fade begins with the first frame and lasts its
// time, whether or not further frames come; where none comes at all, it goes to black. Afterwards frames go straight to
// the surface beneath. Main thread.
class FadingSurface final : public Surface
{
public:
    // `backdrop` is what was there, of the size of `inner`; empty if it lies beneath and shines through. `ended` is
    // called once, when it isn't needed any more. `length` is above 0. The loop outlives the surface.
    FadingSurface(RunLoop& loop, std::unique_ptr<Surface> inner, Bitmap backdrop, std::function<void()> ended = {},
        Seconds length = Seconds(0.5));
    ~FadingSurface() override;

    int width() const override { return inner_->width(); }
    int height() const override { return inner_->height(); }
    bool wantsFrame() const override { return inner_->wantsFrame(); }
    bool prefersSmoothness() const override { return inner_->prefersSmoothness(); }
    FrameMemory frameMemory() override;
    void present() override;
    // None during the fade: it needs the frames.
    NativeWindow nativeWindow() const override { return fading_ ? NativeWindow{} : inner_->nativeWindow(); }
    void close() override;
    void setAlphaValue(double alpha) override { inner_->setAlphaValue(alpha); }

    bool isFading() const { return fading_; }

private:
    void begin();
    void beat();
    void show();
    void end();

    RunLoop& loop_;
    std::unique_ptr<Surface> inner_;
    Bitmap backdrop_, frame_;
    std::function<void()> ended_;
    const Seconds length_;
    std::shared_ptr<NSTimer> timer_;
    bool fading_ = true, begun_ = false;
    Seconds start_{0};
};

} // namespace vitrel
