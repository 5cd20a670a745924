// A window's description: with whatever tree comes out of it, or no change at all.
#include "base/Clock.h"
#include "platform/appkit/NSView.h"
#include "platform/appkit/NSWindow.h"
#include "platform/appkit/controls/NSNib.h"
#include "platform/appkit/controls/NSWindowController.h"
#include "platform/foundation/Surroundings.h"

#include <cstdlib>

namespace {

using namespace vitrel;

struct Owner : NSWindowController {
    explicit Owner(const SheetSurroundings& surroundings)
        : NSWindowController(surroundings, "")
    { }
    void setOutlet(std::string_view, const std::shared_ptr<NSView>& view) override
    {
        if (!view)
            std::abort();
        ++outlets;
    }
    int outlets = 0;
};

int depthOf(const NSView& view)
{
    int deepest = 0;
    for (const auto& subview : view.subviews())
        deepest = std::max(deepest, depthOf(*subview));
    return deepest + 1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const SheetSurroundings surroundings;
    Owner owner(surroundings);
    NSWindow window(NSRect{{0, 0}, {100, 100}}, nullptr);
    const auto before = window.contentView();
    const bool loaded = loadNibData({data, size}, window, owner);
    if (!loaded && (owner.outlets || window.contentView() != before))
        std::abort();
    if (window.contentView() && depthOf(*window.contentView()) > 201)
        std::abort();
    return 0;
}
