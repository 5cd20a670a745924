#pragma once

#include "preferences/VitrelItem.h"

#include <memory>
#include <optional>

namespace vitrel {

class ScreenSaverDefaults;
struct SettingsSurroundings;

// The way to the saver's stored settings, and to those of the composition that is active now. Keeps nothing: every
// call asks the store. Any thread.
class Settings
{
public:
    // One for each saver, made at the first call.
    static Settings& shared(const SettingsSurroundings& surroundings);

    explicit Settings(const SettingsSurroundings& surroundings);

    // The saver's domain, named by the bundle's identifier; without one, a plain domain. Never null.
    std::shared_ptr<ScreenSaverDefaults> screenSaverDefaults() const;

    // The settings of the file that "Active File Path" names, whether or not there is such a file. Absent if that
    // isn't stored, or is no text.
    std::optional<VitrelItem> selectedVitrelItem() const;

    // Whether compositions that ask may hear what this computer plays; so it is until the user says otherwise.
    bool listensToSound() const;
    void setListensToSound(bool listens);

private:
    const SettingsSurroundings& surroundings_;
};

} // namespace vitrel
