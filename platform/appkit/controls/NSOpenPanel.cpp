#include "platform/appkit/controls/NSOpenPanel.h"

#include "platform/foundation/Surroundings.h"

namespace vitrel {

std::shared_ptr<NSOpenPanel> NSOpenPanel::openPanel(const SheetSurroundings& surroundings)
{
    return std::shared_ptr<NSOpenPanel>(new NSOpenPanel(surroundings));
}

void NSOpenPanel::beginWithCompletionHandler(std::function<void(int)> handler)
{
    handler_ = std::move(handler);
    if (surroundings_.showOpenPanel)
        surroundings_.showOpenPanel(std::static_pointer_cast<NSOpenPanel>(shared_from_this()));
    else
        end(kCancel, {});
}

void NSOpenPanel::end(int result, std::vector<NSURL> urls)
{
    const auto handler = std::exchange(handler_, nullptr);
    if (!handler)
        return;
    urls_ = result == kOK ? std::move(urls) : std::vector<NSURL>();
    handler(result);
}

} // namespace vitrel
