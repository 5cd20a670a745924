#pragma once

#include "platform/foundation/Value.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vitrel {

// What is known of a connected display beside its NSScreen: who it is, by the system and by its own word.
struct DisplayInformation {
    // The screen's "NSScreenNumber": the same whenever this display is connected, and never 0.
    std::uint32_t number = 0;
    std::uint32_t vendor = 0, model = 0, serial = 0; // 0 where it doesn't say
    std::string uuid; // upper case; empty if it has none
    // A dictionary with "DisplayVendorID", "DisplayProductID", "DisplaySerialNumber" and "DisplayProductName", a
    // dictionary of names by language; each may be missing. Nothing for a display that can't be asked.
    Value info;
};

// Gives it the number and the UUID that follow from `key`, a text that tells this display from all others, also when it
// comes back.
void nameDisplay(DisplayInformation& information, std::string_view key);

} // namespace vitrel
