#include "programs/muralis/wallpaper/DesktopSettings.h"

#include "base/Text.h"
#include "platform/appkit/NSScreen.h"
#include "platform/appkit/x11/X11Connection.h"
#include "platform/appkit/x11/X11Screens.h"
#include "platform/foundation/Surroundings.h"
#include "programs/muralis/wallpaper/Desktops.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vitrel {
namespace {

constexpr NSSize kUsualSize{1920, 1080};
constexpr double kMostSide = 8192, kMostPixels = 16 << 20;

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

} // namespace

NSSize pictureSize(NSSize display)
{
    const double scale = std::min({1.0, kMostSide / std::max(display.width, display.height),
        std::sqrt(kMostPixels / (display.width * display.height))});
    return {std::floor(display.width * scale), std::floor(display.height * scale)};
}

NSSize largestPictureSize(const std::vector<NamedDisplay>& displays)
{
    const auto place = std::max_element(displays.begin(), displays.end(),
        [](const auto& a, const auto& b) { return a.size.width * a.size.height < b.size.width * b.size.height; });
    return place == displays.end() ? kUsualSize : pictureSize(place->size);
}

std::vector<WallpaperSetting> desktopSettings(const std::vector<NamedDisplay>& displays)
{
    if (const std::string socket = environment("SWAYSOCK"); !socket.empty())
        return swaySettings(socket);
    const std::string desktops = asciiLowercase(":" + environment("XDG_CURRENT_DESKTOP") + ":");
    const auto is = [&](const char* name) { return desktops.find(name) != desktops.npos; };
    if (is(":gnome:") || is(":unity:"))
        return gnomeSettings(displays);
    if (is(":kde:"))
        return plasmaSettings(displays);
    if (is(":xfce:"))
        return xfceSettings(displays);
    return {};
}

std::vector<NamedDisplay> xDisplays(const BasicSurroundings& surroundings)
{
    std::vector<NamedDisplay> displays;
    if (environment("DISPLAY").empty())
        return displays;
    if (const auto connection = X11Connection::open(*surroundings.runLoop)) {
        for (const auto& monitor : x11Monitors(*connection))
            displays.push_back({monitor.name, {double(monitor.width), double(monitor.height)}});
    }
    return displays;
}

} // namespace vitrel
