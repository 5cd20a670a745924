#include "preferences/InitialChoice.h"

#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSObject.h"
#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/BuiltInCompositions.h"
#include "preferences/Settings.h"

#include <filesystem>
#include <string_view>
#include <vector>

namespace vitrel {
namespace {

// Where every installation has them.
constexpr std::string_view kShare = "/share/vitrel/";

// The one of now that was at `path` in an installation that has gone. Null if it wasn't one, or is still there.
const BuiltInComposition* builtInOfBefore(const BuiltInCompositions& builtIn, const std::string& path)
{
    const auto slash = path.rfind('/');
    std::error_code error;
    if (slash == path.npos || !path.substr(0, slash + 1).ends_with(kShare) || std::filesystem::exists(path, error))
        return nullptr;
    return builtIn.find(path.substr(slash + 1));
}

} // namespace

void setInitialChoice(const SettingsSurroundings& surroundings, bool plays)
{
    const auto path = defaultCompositionPath(surroundings);
    if (!path || !surroundings.defaults)
        return;
    surroundings.defaults->setFallback("Active File Path", *path);
    // Else its first evening would begin with a reload, when its feed's input is first seen.
    const VitrelItem item(surroundings, path->substr(path->rfind('/') + 1));
    surroundings.defaults->setFallback(item.keyID(VitrelItem::Key::isRSSVisualizer), true);
    const auto defaults = Settings::shared(surroundings).screenSaverDefaults();
    const BuiltInCompositions builtIn(surroundings);
    auto chosen = defaults->stringForKey("Active File Path");
    if (const auto* same = chosen ? builtInOfBefore(builtIn, *chosen) : nullptr) {
        chosen = same->path;
        defaults->setObjectForKey(*chosen, "Active File Path");
    }
    if (!plays)
        return;
    const bool isBuiltIn = chosen && builtIn.at(*chosen);
    surroundings.defaults->setFallback("Files Paths", isBuiltIn ? Array{*chosen} : Array{});
}

std::optional<std::string> defaultCompositionPath(const SettingsSurroundings& surroundings)
{
    for (const NSBundle* bundle : {surroundings.classBundle, surroundings.mainBundle}) {
        if (auto path = send(bundle, &NSBundle::pathForResourceOfType, kDefaultComposition, "qtz"))
            return path;
    }
    return std::nullopt;
}

std::optional<std::string> randomComposition(const SettingsSurroundings& surroundings)
{
    const auto stored = Settings::shared(surroundings).screenSaverDefaults()->arrayForKey("Files Paths");
    std::vector<std::string> paths;
    for (const Value& entry : stored.value_or(Array())) {
        if (const auto* path = entry.as<std::string>())
            paths.push_back(*path);
    }
    if (paths.size() < 2)
        return std::nullopt;
    return paths[arc4random(surroundings) % paths.size()];
}

} // namespace vitrel
