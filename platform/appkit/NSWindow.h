#pragma once

#include "platform/appkit/NSScreen.h"
#include "platform/appkit/NSView.h"
#include "platform/appkit/Surface.h"
#include "platform/foundation/Value.h"

#include <functional>
#include <memory>

namespace vitrel {

// What a window's delegate may wish to hear.
class NSWindowDelegate
{
public:
    virtual ~NSWindowDelegate() = default;
    virtual void windowWillClose(const Value& notification) = 0;
};

// A window and what it shows its frames on. A saver's window is made by the host and only shown and closed here.
// Main thread.
class NSWindow : public NSObject
{
public:
    explicit NSWindow(NSRect frame, std::unique_ptr<Surface> surface = nullptr);
    ~NSWindow() override;

    NSRect frame() const { return frame_; }
    virtual void setFrameDisplay(NSRect frame, bool display);

    // Never null. Fills the window.
    const std::shared_ptr<NSView>& contentView() const { return contentView_; }

    double alphaValue() const { return alpha_; }
    void setAlphaValue(double alpha);

    // Held weakly, as delegates are. An NSWindowDelegate hears of the close.
    void setDelegate(const std::shared_ptr<NSObject>& delegate) { delegate_ = delegate; }
    std::shared_ptr<NSObject> delegate() const { return delegate_.lock(); }

    const std::string& title() const { return title_; }
    void setTitle(const std::string& title) { title_ = title; }

    // Null if it isn't on a display.
    const std::shared_ptr<const NSScreen>& screen() const { return screen_; }
    void setScreen(std::shared_ptr<const NSScreen> screen) { screen_ = std::move(screen); }

    // Null without a display, and once closed.
    Surface* surface() const { return surface_.get(); }

    // Tells the delegate, takes the surface away and calls `onClose`, all once.
    virtual void close();
    bool isClosed() const { return closed_; }
    std::function<void()> onClose;

private:
    NSRect frame_;
    std::string title_;
    std::unique_ptr<Surface> surface_;
    std::shared_ptr<NSView> contentView_;
    std::weak_ptr<NSObject> delegate_;
    std::shared_ptr<const NSScreen> screen_;
    double alpha_ = 1;
    bool closed_ = false;
};

} // namespace vitrel
