#pragma once

#include "platform/appkit/DisplayInformation.h"
#include "platform/appkit/NSScreen.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vitrel {

// An output of a compositor. `screen` is as the rest of the system sees it: points are the output's own pixels, the
// origin is the lower left corner of the first screen, "NSScreenNumber" is made from what the output says of its
// display, so that it is the same again on another connector; from the connector too where the display gives no serial
// or another has the same. The position is the compositor's, from an upper left corner, in its own units, of which each
// is `scale` pixels.
struct WaylandOutput {
    NSScreen screen;
    std::string name; // "DP-1"; never empty
    std::string make, model, description;
    int x = 0, y = 0;
    int width = 0, height = 0; // pixels, the way it is turned
    int scale = 1;
    std::uint32_t global = 0; // the compositor's number for it, the same in every connection
    DisplayInformation information;
};

// Gives each of `outputs` its number, UUID and names by its name and by what it says of its display. Compositors tell
// names where displays have numbers: vendor, model and serial are made from these where they aren't numbers in letters.
void identifyOutputs(std::vector<WaylandOutput>& outputs);

} // namespace vitrel
