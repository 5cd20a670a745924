#pragma once

#include "platform/appkit/DisplayInformation.h"
#include "platform/foundation/OperatingSystemVersion.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

class NSScreen;

// Which physical display a screen is. Nothing is kept: every call asks anew. Main thread.

struct DisplaySurroundings {
    // The displays, the main one first; and what is known of the same displays beside, of those that can be asked.
    std::function<std::vector<std::shared_ptr<const NSScreen>>()> screens;
    std::function<std::vector<DisplayInformation>()> displays;
    OperatingSystemVersion systemVersion;
};

// The display's number, from the screen's description. Absent when the entry is missing or isn't an unsigned number of
// 32 bits.
std::optional<std::uint32_t> displayIDInt(const NSScreen& screen);
// The same as a number object and as its decimal text.
std::optional<Value> screenNumber(const NSScreen& screen);
std::optional<std::string> screenNumberStringValue(const NSScreen& screen);

// The product's name as the monitor tells it, in any one language. Absent, mostly with a line on standard output,
// where it doesn't.
std::optional<std::string> _displayName(const DisplaySurroundings& surroundings, const NSScreen& screen);
std::optional<std::string> displayName(const DisplaySurroundings& surroundings, const NSScreen& screen);
// From system version 10.15 on the platform's name for it, else the product's.
std::optional<std::string> displayOrLocalizedName(const DisplaySurroundings& surroundings, const NSScreen& screen);

// Absent for a number that no display has, or one without a UUID.
std::optional<std::string> uuidForDisplayID(const DisplaySurroundings& surroundings, std::uint32_t number);
// A handle of the monitor that says it is the display `number`: the same vendor, model and serial. 0 for none.
std::uint32_t getIOService(const DisplaySurroundings& surroundings, std::uint32_t number);

// The first of the screens that the text names, exactly; null if none is. Screens without a number never match.
std::shared_ptr<const NSScreen> screenForIdentifier(
    const DisplaySurroundings& surroundings, std::string_view identifier);
std::shared_ptr<const NSScreen> screenForDisplayID(const DisplaySurroundings& surroundings, std::string_view displayID);
std::shared_ptr<const NSScreen> screenForNumber(const DisplaySurroundings& surroundings, std::string_view number);

} // namespace vitrel
