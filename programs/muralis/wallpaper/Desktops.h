#pragma once

#include "programs/muralis/wallpaper/DesktopSettings.h"

#include <chrono>
#include <string>
#include <vector>

namespace vitrel {

// How long a desktop may take to answer.
inline constexpr std::chrono::milliseconds kDesktopPatience{3000};

// The wallpapers of one desktop each; empty if it isn't there.
std::vector<WallpaperSetting> gnomeSettings(const std::vector<NamedDisplay>& displays);
std::vector<WallpaperSetting> plasmaSettings(const std::vector<NamedDisplay>& displays);
std::vector<WallpaperSetting> xfceSettings(const std::vector<NamedDisplay>& displays);
// `socket`: the path that sway names in the environment.
std::vector<WallpaperSetting> swaySettings(const std::string& socket);

// The size of a picture for a display: its own as far as a picture may be so large, and the desktop scales it up.
NSSize pictureSize(NSSize display);
// That of the largest display, for a desktop that has one picture for all.
NSSize largestPictureSize(const std::vector<NamedDisplay>& displays);

} // namespace vitrel
