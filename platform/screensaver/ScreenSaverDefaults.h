#pragma once

#include "platform/foundation/NSUserDefaults.h"

#include <memory>
#include <string>

namespace vitrel {

// The stored defaults of one saver, apart from its host's. Any thread.
class ScreenSaverDefaults : public NSUserDefaults
{
public:
    // Null for an empty name. Every call makes a new one; all of one name see the same store.
    static std::shared_ptr<ScreenSaverDefaults> defaultsForModuleWithName(
        const SettingsSurroundings& surroundings, const std::string& name);

    // Without a module: the host's own domain.
    explicit ScreenSaverDefaults(const SettingsSurroundings& surroundings);

private:
    ScreenSaverDefaults(DefaultsStore& store, std::string domain);
};

} // namespace vitrel
