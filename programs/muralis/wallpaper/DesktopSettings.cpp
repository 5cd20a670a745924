#include "programs/muralis/wallpaper/DesktopSettings.h"

#include "platform/appkit/NSScreen.h"
#include "platform/appkit/x11/X11Connection.h"
#include "platform/appkit/x11/X11Screens.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/Surroundings.h"
#include "support/ShellCommand.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

namespace vitrel {
namespace {

constexpr double kCommandTime = 3; // seconds
constexpr NSSize kUsualSize{1920, 1080};
// What a picture may have; a larger display's is scaled up by the desktop.
constexpr double kMostSide = 8192, kMostPixels = 16 << 20;
constexpr std::size_t kMostConfiguration = 1 << 20; // bytes of a desktop's file that are read

using Json = nlohmann::json;

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::optional<std::string> output(const QueueSurroundings& surroundings, const std::string& command)
{
    // Its status is of no interest, and is made so, as another than 0 is told on standard output.
    auto text = runShellCommand(surroundings, command + "; :", false, kCommandTime).output;
    while (text && !text->empty() && text->back() == '\n')
        text->pop_back();
    return text && !text->empty() ? text : std::nullopt;
}

bool hasTool(const QueueSurroundings& surroundings, const std::string& tool)
{
    return output(surroundings, "command -v " + tool).has_value();
}

std::function<void(const std::string&)> writing(const QueueSurroundings& surroundings, const std::string& command)
{
    return [&surroundings, command](const std::string& value) {
        runShellCommand(surroundings, command + " " + shellQuoted(value) + " >/dev/null; :", false, kCommandTime);
    };
}

NSSize sound(NSSize size)
{
    const double scale = std::min(
        {1.0, kMostSide / std::max(size.width, size.height), std::sqrt(kMostPixels / (size.width * size.height))});
    return {std::floor(size.width * scale), std::floor(size.height * scale)};
}

NSSize largest(const std::vector<NamedDisplay>& displays)
{
    const auto place = std::max_element(displays.begin(), displays.end(),
        [](const auto& a, const auto& b) { return a.size.width * a.size.height < b.size.width * b.size.height; });
    return place == displays.end() ? kUsualSize : sound(place->size);
}

std::vector<WallpaperSetting> gnome(const QueueSurroundings& surroundings, const std::vector<NamedDisplay>& displays)
{
    std::vector<WallpaperSetting> settings;
    for (const std::string key : {"picture-uri", "picture-uri-dark"}) {
        const std::string place = " org.gnome.desktop.background " + key;
        const auto read = [&surroundings, place] { return output(surroundings, "gsettings get" + place); };
        if (read()) // older ones have no dark one
            settings.push_back({key, largest(displays), true, read, writing(surroundings, "gsettings set" + place),
                [](const std::string& file) {
                    // As gsettings writes a text that has no quotes in it.
                    std::string address = NSURL::fileURLWithPath(file).absoluteString();
                    for (auto at = address.find('\''); at != address.npos; at = address.find('\''))
                        address.replace(at, 1, "%27");
                    return "'" + address + "'";
                }});
    }
    return settings;
}

std::optional<std::string> plasmaImage()
{
    std::string folder = environment("XDG_CONFIG_HOME");
    if (folder.empty())
        folder = environment("HOME") + "/.config";
    std::ifstream file(folder + "/plasma-org.kde.plasma.desktop-appletsrc");
    std::string line;
    bool isWallpaper = false;
    for (std::size_t read = 0; read < kMostConfiguration && std::getline(file, line); read += line.size() + 1) {
        if (line.starts_with("["))
            isWallpaper = line.ends_with("[Wallpaper][org.kde.image][General]");
        else if (isWallpaper && line.starts_with("Image="))
            return line.substr(line.starts_with("Image=file://") ? 13 : 6);
    }
    return std::nullopt;
}

std::vector<WallpaperSetting> plasma(const QueueSurroundings& surroundings, const std::vector<NamedDisplay>& displays)
{
    return {{"image", largest(displays), false, plasmaImage, writing(surroundings, "plasma-apply-wallpaperimage"),
        [](const std::string& file) { return file; }}};
}

std::vector<WallpaperSetting> xfce(const QueueSurroundings& surroundings, const std::vector<NamedDisplay>& displays)
{
    std::vector<WallpaperSetting> settings;
    std::istringstream list(output(surroundings, "xfconf-query -c xfce4-desktop -l").value_or(""));
    for (std::string key; std::getline(list, key) && settings.size() < 64;) {
        if (!key.ends_with("/last-image"))
            continue;
        const auto own = std::find_if(displays.begin(), displays.end(),
            [&](const NamedDisplay& display) { return key.find("/monitor" + display.name + "/") != key.npos; });
        const std::string place = "xfconf-query -c xfce4-desktop -p " + shellQuoted(key);
        settings.push_back({key, own == displays.end() ? largest(displays) : sound(own->size), true,
            [&surroundings, place] { return output(surroundings, place); }, writing(surroundings, place + " -s"),
            [](const std::string& file) { return file; }});
    }
    return settings;
}

// As a word of sway's own command language.
std::string swayQuoted(const std::string& word)
{
    std::string out = "\"";
    for (const char c : word) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + "\"";
}

// What the configuration says behind "output NAME bg", the last that holds for the output.
std::string swayBackground(const QueueSurroundings& surroundings, const std::string& name)
{
    std::string found = "#000000 solid_color";
    const auto answer = Json::parse(output(surroundings, "swaymsg -r -t get_config").value_or(""), nullptr, false);
    std::istringstream text(answer.is_object() && answer.contains("config") && answer["config"].is_string()
            ? answer["config"].get<std::string>()
            : "");
    static const std::set<std::string> modes{"stretch", "fill", "fit", "center", "tile", "solid_color"};
    bool inBlock = false; // in braces that follow our output's name
    for (std::string line; std::getline(text, line);) {
        std::istringstream words(line);
        std::string word, background;
        words >> word;
        bool isOurs = inBlock;
        if (word == "output") {
            words >> word;
            isOurs = word == "*" || word == name || word == "\"" + name + "\"";
            inBlock = isOurs && line.find('{') != line.npos;
            words >> word;
        } else if (word == "}") {
            inBlock = isOurs = false;
        }
        if (!isOurs)
            continue;
        while (word != "bg" && word != "background" && words >> word) { }
        while (words >> word && !modes.contains(word))
            background += word + " ";
        // What the configuration's variables stand for isn't told.
        if (modes.contains(word) && !background.empty() && background.find('$') == background.npos)
            found = background + word;
    }
    return found;
}

std::vector<WallpaperSetting> sway(const QueueSurroundings& surroundings)
{
    std::vector<WallpaperSetting> settings;
    const auto outputs = Json::parse(output(surroundings, "swaymsg -r -t get_outputs").value_or(""), nullptr, false);
    if (!outputs.is_array())
        return settings;
    for (const auto& entry : outputs) {
        const Json mode = entry.is_object() ? entry.value("current_mode", Json()) : Json();
        if (!mode.is_object() || !entry.contains("name") || !entry["name"].is_string()
            || !mode.value("width", Json()).is_number() || !mode.value("height", Json()).is_number())
            continue; // switched off
        const std::string name = entry["name"];
        const NSSize size{mode["width"].get<double>(), mode["height"].get<double>()};
        if (!(size.width >= 1 && size.height >= 1))
            continue;
        settings.push_back({name, sound(size), false,
            [&surroundings, name] { return std::optional(swayBackground(surroundings, name)); },
            [&surroundings, name](const std::string& value) {
                writing(surroundings, "swaymsg --")("output " + swayQuoted(name) + " bg " + value);
            },
            [](const std::string& file) { return swayQuoted(file) + " fill"; }});
    }
    return settings;
}

} // namespace

std::vector<WallpaperSetting> desktopSettings(
    const QueueSurroundings& surroundings, const std::vector<NamedDisplay>& displays)
{
    std::string desktops = ":" + environment("XDG_CURRENT_DESKTOP") + ":";
    std::transform(desktops.begin(), desktops.end(), desktops.begin(), [](unsigned char c) { return std::toupper(c); });
    const auto is = [&](const std::string& name, const std::string& tool) {
        return desktops.find(":" + name + ":") != desktops.npos && hasTool(surroundings, tool);
    };
    if (!environment("SWAYSOCK").empty() && hasTool(surroundings, "swaymsg"))
        return sway(surroundings);
    if (is("GNOME", "gsettings") || is("UNITY", "gsettings"))
        return gnome(surroundings, displays);
    if (is("KDE", "plasma-apply-wallpaperimage"))
        return plasma(surroundings, displays);
    if (is("XFCE", "xfconf-query"))
        return xfce(surroundings, displays);
    return {};
}

std::vector<NamedDisplay> xDisplays(const QueueSurroundings& surroundings)
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
