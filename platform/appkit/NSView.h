#pragma once

#include "platform/foundation/Geometry.h"
#include "platform/foundation/NSObject.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

class NSWindow;

// A rectangle in a window, with subviews. A parent holds its subviews; a subview only knows its parent.
// Main thread.
class NSView : public NSObject
{
public:
    NSView() = default;
    ~NSView() override;

    // In the superview's coordinates; points, origin at the lower left.
    NSRect frame() const { return frame_; }
    // The same rectangle in the view's own coordinates: origin 0, 0.
    NSRect bounds() const { return {{0, 0}, frame_.size}; }
    virtual void setFrame(NSRect frame);

    // Moves `view` to the end of the subviews, from whatever parent it had. Adding it anew is fine.
    void addSubview(const std::shared_ptr<NSView>& view);
    virtual void removeFromSuperview();
    NSView* superview() const { return superview_; }
    const std::vector<std::shared_ptr<NSView>>& subviews() const { return subviews_; }

    // The window that the view is in, by its parents; null without one.
    virtual NSWindow* window() const;

    // What a window description calls it.
    const std::optional<std::string>& identifier() const { return identifier_; }
    void setIdentifier(const std::optional<std::string>& identifier) { identifier_ = identifier; }
    const std::optional<std::string>& toolTip() const { return toolTip_; }
    void setToolTip(const std::optional<std::string>& text);
    bool isHidden() const { return hidden_; }
    void setHidden(bool hidden);

    // For what shows the view on a desktop: something that is seen of it has changed.
    std::function<void()> onChange;

    // Kept and given back: everything here draws through one renderer.
    void setWantsLayer(bool wants) { wantsLayer_ = wants; }
    bool wantsLayer() const { return wantsLayer_; }

    // The view, or a parent of it, has come into a window, left one, or the window's surface has changed.
    virtual void viewDidMoveToWindow();

protected:
    void didChange();

private:
    friend class NSWindow;
    NSRect frame_;
    NSView* superview_ = nullptr;
    NSWindow* window_ = nullptr; // of a content view
    std::vector<std::shared_ptr<NSView>> subviews_;
    std::optional<std::string> identifier_, toolTip_;
    bool hidden_ = false;
    bool wantsLayer_ = false;
};

} // namespace vitrel
