#include "preferences/StartSettings.h"

#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/Settings.h"

#include <algorithm>
#include <cmath>

namespace vitrel {
namespace {

constexpr const char *kMinutes = "Start After Minutes", *kOnBattery = "Start On Battery", *kDisplays = "Start Displays",
                     *kFade = "Fade In Seconds";

constexpr std::size_t kMostDisplays = 64, kMostName = 256;

std::shared_ptr<ScreenSaverDefaults> defaultsOf(const SettingsSurroundings& surroundings)
{
    return Settings::shared(surroundings).screenSaverDefaults();
}

void store(const SettingsSurroundings& surroundings, const char* key, const Value& value)
{
    const auto defaults = defaultsOf(surroundings);
    defaults->setObjectForKey(value, key);
    defaults->synchronize();
}

// The stored number if it is one and in range.
double number(const ScreenSaverDefaults& defaults, const char* key, double least, double most, double usual)
{
    const auto value = defaults.objectForKey(key);
    const auto stored = value ? value->number() : std::nullopt;
    return stored && *stored >= least && *stored <= most ? *stored : usual;
}

} // namespace

StartSettings startSettings(const SettingsSurroundings& surroundings)
{
    const auto defaults = defaultsOf(surroundings);
    StartSettings settings;
    settings.afterMinutes
        = number(*defaults, kMinutes, StartSettings::kLeastMinutes, StartSettings::kMostMinutes, settings.afterMinutes);
    settings.fade = Seconds(number(*defaults, kFade, 0, StartSettings::kMostFade, settings.fade.count()));
    settings.onBattery = !defaults->objectForKey(kOnBattery) || defaults->boolForKey(kOnBattery);
    const auto names = defaults->arrayForKey(kDisplays).value_or(Array());
    for (const Value& name : names) {
        const auto* text = name.as<std::string>();
        if (text && !text->empty() && text->size() <= kMostName && settings.displays.size() < kMostDisplays)
            settings.displays.push_back(*text);
    }
    return settings;
}

void setStartMinutes(const SettingsSurroundings& surroundings, double minutes)
{
    store(surroundings, kMinutes, std::clamp(minutes, StartSettings::kLeastMinutes, StartSettings::kMostMinutes));
}

void setStartOnBattery(const SettingsSurroundings& surroundings, bool onBattery)
{
    store(surroundings, kOnBattery, onBattery);
}

void setStartDisplays(const SettingsSurroundings& surroundings, const std::vector<std::string>& displays)
{
    store(surroundings, kDisplays, Array(displays.begin(), displays.end()));
}

void setStartFade(const SettingsSurroundings& surroundings, Seconds fade)
{
    store(surroundings, kFade, std::clamp(fade.count(), 0.0, StartSettings::kMostFade));
}

std::vector<std::string> displaysNamed(const std::string& text)
{
    std::vector<std::string> names;
    for (std::size_t at = 0; at <= text.size();) {
        const auto comma = std::min(text.find(',', at), text.size());
        if (comma > at)
            names.push_back(text.substr(at, comma - at));
        at = comma + 1;
    }
    return names == std::vector<std::string>{"all"} ? std::vector<std::string>() : names;
}

std::vector<std::string> displaysToCover(const std::vector<std::string>& there, const std::vector<std::string>& wanted)
{
    if (wanted == std::vector<std::string>{kPrimaryDisplay})
        return {there.begin(), there.begin() + std::min<std::ptrdiff_t>(1, std::ssize(there))};
    std::vector<std::string> covered;
    std::copy_if(there.begin(), there.end(), std::back_inserter(covered),
        [&](const std::string& name) { return std::find(wanted.begin(), wanted.end(), name) != wanted.end(); });
    return covered.empty() ? there : covered;
}

} // namespace vitrel
