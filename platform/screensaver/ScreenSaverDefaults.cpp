#include "platform/screensaver/ScreenSaverDefaults.h"

#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/Surroundings.h"

namespace vitrel {

ScreenSaverDefaults::ScreenSaverDefaults(DefaultsStore& store, std::string domain)
    : NSUserDefaults(store, std::move(domain))
{ }

ScreenSaverDefaults::ScreenSaverDefaults(const SettingsSurroundings& surroundings)
    : NSUserDefaults(*surroundings.defaults, kHostDomain)
{ }

std::shared_ptr<ScreenSaverDefaults> ScreenSaverDefaults::defaultsForModuleWithName(
    const SettingsSurroundings& surroundings, const std::string& name)
{
    if (name.empty())
        return nullptr;
    return std::shared_ptr<ScreenSaverDefaults>(new ScreenSaverDefaults(*surroundings.defaults, name));
}

} // namespace vitrel
