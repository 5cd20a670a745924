#include "preferences/Settings.h"

#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSObject.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"

namespace vitrel {
namespace {

constexpr const char* kListenToSound = "Listen To Sound";

} // namespace

Settings& Settings::shared(const SettingsSurroundings& surroundings)
{
    return surroundings.shared.of<Settings>([&] { return std::make_shared<Settings>(surroundings); });
}

Settings::Settings(const SettingsSurroundings& surroundings)
    : surroundings_(surroundings)
{ }

std::shared_ptr<ScreenSaverDefaults> Settings::screenSaverDefaults() const
{
    const auto identifier = send(surroundings_.classBundle, &NSBundle::bundleIdentifier);
    auto defaults = ScreenSaverDefaults::defaultsForModuleWithName(surroundings_, identifier.value_or(""));
    return defaults ? defaults : std::make_shared<ScreenSaverDefaults>(surroundings_);
}

std::optional<VitrelItem> Settings::selectedVitrelItem() const
{
    const auto path = screenSaverDefaults()->stringForKey("Active File Path");
    if (!path)
        return std::nullopt;
    return VitrelItem(surroundings_, NSURL::fileURLWithPath(*path).lastPathComponent());
}

bool Settings::listensToSound() const
{
    const auto defaults = screenSaverDefaults();
    return !defaults->objectForKey(kListenToSound) || defaults->boolForKey(kListenToSound);
}

void Settings::setListensToSound(bool listens)
{
    const auto defaults = screenSaverDefaults();
    defaults->setBoolForKey(listens, kListenToSound);
    defaults->synchronize();
}

} // namespace vitrel
