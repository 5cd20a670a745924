#pragma once

#include "platform/appkit/NSView.h"
#include "platform/appkit/NSWindow.h"

#include <memory>

namespace vitrel {

// What a saver derives from. The host makes one view for each display, puts it into a window and starts its
// animation; a saver that draws by itself needs no animation tick, so there is none here. Main thread.
class ScreenSaverView : public NSView
{
public:
    bool isPreview() const { return isPreview_; }

    // Seconds between two ticks; kept for the host to read.
    void setAnimationTimeInterval(double seconds) { animationTimeInterval_ = seconds; }
    double animationTimeInterval() const { return animationTimeInterval_; }

    virtual void startAnimation();
    virtual void stopAnimation();
    bool isAnimating() const { return isAnimating_; }
    virtual void drawRect(NSRect rect);

    virtual bool hasConfigureSheet() const { return false; }
    // The sheet's window, null without one. The caller shows it.
    virtual std::shared_ptr<NSWindow> configureSheet() { return nullptr; }

protected:
    ScreenSaverView() = default;
    // A derived class's factory calls it first. False, and there is no view, for a frame that no view can have.
    bool initWithFrameIsPreview(NSRect frame, bool isPreview);

private:
    double animationTimeInterval_ = 1.0 / 30;
    bool isPreview_ = false;
    bool isAnimating_ = false;
};

} // namespace vitrel
