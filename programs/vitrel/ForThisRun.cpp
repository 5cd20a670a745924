#include "programs/vitrel/ForThisRun.h"

#include "base/Text.h"
#include "feedinput/FeedInput.h"
#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/Surroundings.h"
#include "platform/quartzcomposer/QCView.h"
#include "preferences/Settings.h"
#include "preferences/VitrelItem.h"

#include <algorithm>

namespace vitrel {

void playOnly(DefaultsStore& defaults, const std::string& path)
{
    defaults.keepInMemory();
    defaults.setArgument("Files Paths", path.empty() ? Array{} : Array{path});
    defaults.setArgument("Active File Path", path);
    defaults.setArgument("Use Random Screen Saver", false);
}

void playWithDemoFeed(const Surroundings& surroundings, const std::string& path)
{
    const auto feed = surroundings.mainBundle->pathForResourceOfType("DemoFeed", "xml");
    if (path.empty() || !feed)
        return;
    playOnly(*surroundings.defaults, path);
    const VitrelItem item(surroundings, path.substr(path.rfind('/') + 1));
    surroundings.defaults->setArgument(
        item.keyID(VitrelItem::Key::rssFeedURL), "file://" + percentEncoded(*feed, "/-._~"));
}

void knowFeedInput(const Surroundings& surroundings, const QCView& view)
{
    const auto item = Settings::shared(surroundings).selectedVitrelItem();
    if (!item)
        return;
    const auto keys = view.inputKeys();
    surroundings.defaults->setArgument(item->keyID(VitrelItem::Key::isRSSVisualizer),
        std::find(keys.begin(), keys.end(), kFeedInputKey) != keys.end());
}

} // namespace vitrel
