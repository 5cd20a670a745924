#pragma once

#include "platform/appkit/DisplayInformation.h"
#include "platform/appkit/NSScreen.h"
#include "platform/appkit/x11/Edid.h"
#include "platform/appkit/x11/X11Connection.h"

#include <optional>
#include <vector>

namespace vitrel {

// A monitor of an X server. `screen` is as the rest of the system sees it: points are pixels, the origin is the lower
// left corner of the first screen, "NSScreenNumber" is made from what the monitor says of itself, so that it is the
// same again on another connector; from its connector's name where it says nothing, and from both where it has no
// serial or another has the same. The other numbers are the server's, from the upper left corner of the root window.
struct X11Monitor {
    NSScreen screen;
    int x = 0, y = 0, width = 0, height = 0;
    std::string name; // of the server's monitor, "DP-1"
    std::string connector; // empty for a virtual one
    std::optional<DisplayIdentity> identity;
    DisplayInformation information;
};

// Gives each of `monitors` its number, UUID and names by its name, connector and identity.
void identifyMonitors(std::vector<X11Monitor>& monitors);

// The monitors as they are now, virtual ones too, the primary one first. Never empty: without RandR it is the root
// window as a whole. Empty only if the server has gone.
std::vector<X11Monitor> x11Monitors(X11Connection& connection);

// The one of `monitors` that has the centre of `window`, else the first; null if there are none or no such window.
const X11Monitor* x11MonitorOfWindow(
    X11Connection& connection, const std::vector<X11Monitor>& monitors, unsigned long window);

// The window that shows the desktop where a window manager put one over the root window, else the root window; 0 if
// the server has gone.
unsigned long x11VirtualRoot(X11Connection& connection);

} // namespace vitrel
