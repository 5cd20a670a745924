// The desktops that are asked over the session bus: Plasma, whose shell runs scripts, and Xfce's store.
#include "platform/foundation/NSURL.h"
#include "platform/messagebus/BusConnection.h"
#include "programs/muralis/wallpaper/Desktops.h"
#include "programs/muralis/wallpaper/Glib.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>

namespace vitrel {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostSettings = 64;
constexpr const char* kChannel = "xfce4-desktop";

struct Service {
    const char* name;
    const char* path;
    const char* interface;
};
constexpr Service kPlasma{"org.kde.plasmashell", "/PlasmaShell", "org.kde.PlasmaShell"};
constexpr Service kXfconf{"org.xfce.Xfconf", "/org/xfce/Xfconf", "org.xfce.Xfconf"};

// The answer, a tuple; null without one of `type`. `arguments` is a floating tuple, and is taken.
Glib<GVariant> call(const Service& service, const char* method, GVariant* arguments, const char* type)
{
    const Glib<GVariant> taken(g_variant_ref_sink(arguments));
    if (!BusConnection::answers(BusConnection::Kind::session))
        return nullptr;
    const Glib<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!bus)
        return nullptr;
    // The session's end is told by a signal; the library would end the process when the bus goes.
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    return Glib<GVariant>(g_dbus_connection_call_sync(bus.get(), service.name, service.path, service.interface, method,
        taken.get(), type ? G_VARIANT_TYPE(type) : nullptr, G_DBUS_CALL_FLAGS_NONE, int(kDesktopPatience.count()),
        nullptr, nullptr));
}

// What a script of the shell prints.
std::optional<std::string> runInPlasma(const std::string& script)
{
    const auto answer = call(kPlasma, "evaluateScript", g_variant_new("(s)", script.c_str()), "(s)");
    if (!answer)
        return std::nullopt;
    const Glib<GVariant> text(g_variant_get_child_value(answer.get(), 0));
    return textOf(text.get());
}

constexpr const char* kChooseGroup = "d.currentConfigGroup = ['Wallpaper', 'org.kde.image', 'General'];";

// By the desktops' numbers, which picture each has and what shows it (a slide show, say), as JSON.
std::map<std::string, std::string> plasmaWallpapers()
{
    std::map<std::string, std::string> wallpapers;
    const auto printed = runInPlasma(std::string("var all = []; desktops().forEach(function(d) { ") + kChooseGroup
        + " all.push({id: d.id, image: String(d.readConfig('Image')), plugin: d.wallpaperPlugin}); });"
          " print(JSON.stringify(all));");
    const auto list = Json::parse(printed.value_or(""), nullptr, false);
    for (const auto& desktop : list.is_array() ? list : Json::array()) {
        if (!desktop.is_object() || !desktop.value("id", Json()).is_number_integer()
            || !desktop.value("image", Json()).is_string() || !desktop.value("plugin", Json()).is_string())
            continue;
        const Json value{{"image", desktop["image"]}, {"plugin", desktop["plugin"]}};
        wallpapers[desktop["id"].dump()] = value.dump(-1, ' ', true, Json::error_handler_t::replace);
    }
    return wallpapers;
}

void setPlasmaWallpaper(const std::string& number, const std::string& value)
{
    const auto said = Json::parse(value, nullptr, false);
    if (!said.is_object() || !said.value("image", Json()).is_string() || !said.value("plugin", Json()).is_string())
        return; // of another version of this program
    // Escaped as JSON, a text is one of the script's language too.
    const auto quoted = [&](const char* key) { return said[key].dump(-1, ' ', true); };
    runInPlasma("desktops().forEach(function(d) { if (d.id != " + number + ") return; " + kChooseGroup
        + " d.writeConfig('Image', " + quoted("image") + "); d.wallpaperPlugin = " + quoted("plugin") + "; });");
}

std::optional<std::string> xfceProperty(const std::string& key)
{
    const auto answer = call(kXfconf, "GetProperty", g_variant_new("(ss)", kChannel, key.c_str()), "(v)");
    if (!answer)
        return std::nullopt;
    const Glib<GVariant> boxed(g_variant_get_child_value(answer.get(), 0));
    const Glib<GVariant> value(g_variant_get_variant(boxed.get()));
    return textOf(value.get());
}

void setXfceProperty(const std::string& key, const std::string& value)
{
    call(kXfconf, "SetProperty", g_variant_new("(ssv)", kChannel, key.c_str(), g_variant_new_string(value.c_str())),
        nullptr);
}

} // namespace

std::vector<WallpaperSetting> plasmaSettings(const std::vector<NamedDisplay>& displays)
{
    std::vector<WallpaperSetting> settings;
    for (const auto& [number, wallpaper] : plasmaWallpapers()) {
        if (settings.size() == kMostSettings)
            break;
        const auto read = [number = number]() -> std::optional<std::string> {
            const auto now = plasmaWallpapers();
            const auto own = now.find(number);
            return own == now.end() ? std::nullopt : std::optional(own->second);
        };
        settings.push_back({"desktop " + number, largestPictureSize(displays), true, read,
            [number = number](const std::string& value) { setPlasmaWallpaper(number, value); },
            [](const std::string& file) {
                const Json value{{"image", NSURL::fileURLWithPath(file).absoluteString()}, {"plugin", "org.kde.image"}};
                return value.dump(-1, ' ', true, Json::error_handler_t::replace);
            }});
    }
    return settings;
}

std::vector<WallpaperSetting> xfceSettings(const std::vector<NamedDisplay>& displays)
{
    std::vector<WallpaperSetting> settings;
    const auto answer = call(kXfconf, "GetAllProperties", g_variant_new("(ss)", kChannel, "/backdrop"), "(a{sv})");
    if (!answer)
        return settings;
    const Glib<GVariant> all(g_variant_get_child_value(answer.get(), 0));
    for (gsize k = 0; k < g_variant_n_children(all.get()) && settings.size() < kMostSettings; ++k) {
        const Glib<GVariant> entry(g_variant_get_child_value(all.get(), k));
        const Glib<GVariant> name(g_variant_get_child_value(entry.get(), 0));
        const std::string key = g_variant_get_string(name.get(), nullptr);
        if (!key.ends_with("/last-image"))
            continue;
        const auto own = std::find_if(displays.begin(), displays.end(),
            [&](const NamedDisplay& display) { return key.find("/monitor" + display.name + "/") != key.npos; });
        settings.push_back({key, own == displays.end() ? largestPictureSize(displays) : pictureSize(own->size), true,
            [key] { return xfceProperty(key); }, [key](const std::string& value) { setXfceProperty(key, value); },
            [](const std::string& file) { return file; }});
    }
    return settings;
}

} // namespace vitrel
