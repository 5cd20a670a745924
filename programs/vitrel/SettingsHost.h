#pragma once

#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/FileSystem.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "preferences/PreferencesWC.h"

#include <memory>
#include <optional>

namespace vitrel {

// What settings need of a saver, and the sheet's controller without a window, for what changes them and shows nothing.
// Other processes' changes wait for its end. Main thread.
class SettingsHost
{
public:
    // `verbose`: the system's own lines go to standard error; else only what is wrong with the stored settings does.
    explicit SettingsHost(bool verbose = false);
    // Ends the change. The exit code.
    int store();

    PreferencesWC& controller() { return *controller_; }
    const SheetSurroundings& surroundings() const { return surroundings_; }

private:
    SystemClock clock_;
    RunLoop runLoop_{clock_};
    FileSystem files_;
    LogSink log_ = standardErrorLog(clock_);
    DefaultsStore defaults_;
    NSBundle bundle_ = NSBundle::forExecutable();
    SheetSurroundings surroundings_;
    std::shared_ptr<PreferencesWC> controller_;
    std::optional<DefaultsStore::Batch> change_;
};

} // namespace vitrel
