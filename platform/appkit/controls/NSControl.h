#pragma once

#include "platform/appkit/NSView.h"

#include <memory>

namespace vitrel {

// A view that the user acts on. It has no look: what shows it on a desktop reads its state, is told by `onChange` of
// each change, and hands the user's acts back. Main thread.
class NSControl : public NSView
{
public:
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);

    // Held weakly, as targets are. Without a target or an action the user's act only changes the control.
    void setTarget(const std::shared_ptr<NSObject>& target) { target_ = target; }
    void setAction(Selector action) { action_ = action; }
    // What the user's act ends in: `action` on `target`, with nothing for an argument.
    void sendAction();

private:
    bool enabled_ = true;
    std::weak_ptr<NSObject> target_;
    Selector action_;
};

} // namespace vitrel
