#include "platform/appkit/controls/NSWindowController.h"

#include "platform/appkit/controls/NSNib.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/Surroundings.h"

namespace vitrel {

const std::shared_ptr<NSWindow>& NSWindowController::window()
{
    if (!window_) {
        window_ = std::make_shared<NSWindow>(NSRect{});
        const auto path = send(surroundings_.classBundle, &NSBundle::pathForResourceOfType, nibName_, "ui");
        if (path)
            loadNib(*path, *window_, *this);
        windowDidLoad();
    }
    return window_;
}

} // namespace vitrel
