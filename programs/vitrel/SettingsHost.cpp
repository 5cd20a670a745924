#include "programs/vitrel/SettingsHost.h"

#include "platform/foundation/Files.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/Settings.h"
#include "programs/vitrel/Commands.h"

namespace vitrel {

SettingsHost::SettingsHost(bool verbose)
    : defaults_(userFolder(UserFolder::Config), files_, log_)
{
    surroundings_.clock = &clock_;
    surroundings_.runLoop = &runLoop_;
    surroundings_.defaults = &defaults_;
    surroundings_.classBundle = surroundings_.mainBundle = &bundle_;
    if (verbose)
        surroundings_.log = log_;
    controller_ = PreferencesWC::initWithWindowNibName(surroundings_, "PreferencesWC");
    change_.emplace(defaults_, Settings::shared(surroundings_).screenSaverDefaults()->domain());
}

int SettingsHost::store()
{
    change_.reset();
    const auto saver = Settings::shared(surroundings_).screenSaverDefaults();
    const auto host = NSUserDefaults::standardUserDefaults(surroundings_);
    const bool stored = saver->synchronize() && host->synchronize();
    return stored && !defaults_.isVolatile() ? 0 : complain("can't store the settings");
}

} // namespace vitrel
