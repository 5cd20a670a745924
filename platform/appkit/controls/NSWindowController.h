#pragma once

#include "platform/appkit/NSWindow.h"
#include "platform/appkit/controls/NSEvent.h"
#include "platform/foundation/NSObject.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vitrel {

struct SheetSurroundings;

// Owns a window that is loaded from a description among the resources of the saver's bundle when it is first asked
// for (NSNib.h). Main thread.
class NSWindowController : public NSObject
{
public:
    // Never null; without a description, a window without controls.
    const std::shared_ptr<NSWindow>& window();
    bool isWindowLoaded() const { return window_ != nullptr; }

    // A key that no control took.
    virtual void keyDown(const NSEvent&) { }

    // For the loader: gives a control to the member that the description names, and finds an action by its name.
    virtual void setOutlet(std::string_view, const std::shared_ptr<NSView>&) { }
    virtual std::optional<Selector> actionNamed(std::string_view) const { return std::nullopt; }

protected:
    NSWindowController(const SheetSurroundings& surroundings, std::string nibName)
        : surroundings_(surroundings)
        , nibName_(std::move(nibName))
    { }

    const SheetSurroundings& surroundings() const { return surroundings_; }
    // The window is there and its controls are bound.
    virtual void windowDidLoad() { }

private:
    const SheetSurroundings& surroundings_;
    const std::string nibName_;
    std::shared_ptr<NSWindow> window_;
};

} // namespace vitrel
