#pragma once

#include "platform/foundation/Geometry.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

struct BasicSurroundings;

// One place where a desktop keeps a wallpaper: all displays', or one's. Any thread, one at a time; each call but
// `valueOf` may ask another program, and gives up after some seconds.
struct WallpaperSetting {
    std::string key;
    NSSize size; // of the picture, pixels
    bool tellsCurrent = true; // `read` gives what is set now, and not only what was set once
    std::function<std::optional<std::string>()> read;
    std::function<void(const std::string& value)> write;
    std::function<std::string(const std::string& file)> valueOf; // the value for a picture's path
};

struct NamedDisplay {
    std::string name;
    NSSize size; // pixels
};

// The settings of the desktop that this process runs in, told by the environment: GNOME's, Plasma's, Xfce's or sway's.
// Empty where it is none of these, or doesn't answer. `displays` as far as known; the desktop may know better.
std::vector<WallpaperSetting> desktopSettings(const std::vector<NamedDisplay>& displays);

// The displays of the X server, if there is one.
std::vector<NamedDisplay> xDisplays(const BasicSurroundings& surroundings);

} // namespace vitrel
