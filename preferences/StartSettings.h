#pragma once

#include "base/Clock.h"

#include <optional>
#include <string>
#include <vector>

namespace vitrel {

struct SettingsSurroundings;

// How the saver starts by itself, and how it comes up on full screens: what `vitrel idle` and `vitrel play` go by where
// their command line says nothing else.
struct StartSettings {
    static constexpr double kLeastMinutes = 0.02, kMostMinutes = 540, kMostFade = 10;

    double afterMinutes = 5; // without input
    bool onBattery = true;
    // The displays that are covered: empty for all, kPrimaryDisplay alone for that one, else names.
    std::vector<std::string> displays;
    Seconds fade{0.5}; // 0: at once
};

inline constexpr const char* kPrimaryDisplay = "primary";

// What is stored, and the usual for what isn't, is nonsense or out of range. Any thread.
StartSettings startSettings(const SettingsSurroundings& surroundings);
// Each stores one of them, in range, and brings it to the disk.
void setStartMinutes(const SettingsSurroundings& surroundings, double minutes);
void setStartOnBattery(const SettingsSurroundings& surroundings, bool onBattery);
void setStartDisplays(const SettingsSurroundings& surroundings, const std::vector<std::string>& displays);
void setStartFade(const SettingsSurroundings& surroundings, Seconds fade);

// As a command line says it: "all", "primary", or names with commas between.
std::vector<std::string> displaysNamed(const std::string& text);
// Those of `there`, the primary one first, that `wanted` means as StartSettings has it; all where none of them is
// there, for a screen that isn't covered is worse than one too many.
std::vector<std::string> displaysToCover(const std::vector<std::string>& there, const std::vector<std::string>& wanted);

} // namespace vitrel
