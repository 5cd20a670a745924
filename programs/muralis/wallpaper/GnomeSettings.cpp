// GNOME's stored settings, one for light and one for dark.
#include "platform/foundation/NSURL.h"
#include "programs/muralis/wallpaper/Desktops.h"
#include "programs/muralis/wallpaper/Glib.h"

namespace vitrel {
namespace {

constexpr const char* kSchema = "org.gnome.desktop.background";

// A library's object for each use, as one belongs to the thread that it was made on.
Glib<GSettings> settingsOf(const std::string& key)
{
    auto* source = g_settings_schema_source_get_default();
    const Glib<GSettingsSchema> schema(source ? g_settings_schema_source_lookup(source, kSchema, TRUE) : nullptr);
    // A missing key would end the process; older desktops have no dark one.
    if (!schema || !g_settings_schema_has_key(schema.get(), key.c_str()))
        return nullptr;
    return Glib<GSettings>(g_settings_new_full(schema.get(), nullptr, nullptr));
}

std::optional<std::string> read(const std::string& key)
{
    const auto settings = settingsOf(key);
    if (!settings)
        return std::nullopt;
    const Glib<GVariant> value(g_settings_get_value(settings.get(), key.c_str()));
    return textOf(value.get());
}

void write(const std::string& key, const std::string& value)
{
    const auto settings = settingsOf(key);
    if (!settings)
        return;
    g_settings_set_value(settings.get(), key.c_str(), g_variant_new_string(value.c_str()));
    g_settings_sync(); // it may be the last thing that this process does
}

} // namespace

std::vector<WallpaperSetting> gnomeSettings(const std::vector<NamedDisplay>& displays)
{
    std::vector<WallpaperSetting> settings;
    for (const std::string key : {"picture-uri", "picture-uri-dark"}) {
        if (!read(key))
            continue;
        settings.push_back({key, largestPictureSize(displays), true, [key] { return read(key); },
            [key](const std::string& value) { write(key, value); },
            [](const std::string& file) { return NSURL::fileURLWithPath(file).absoluteString(); }});
    }
    return settings;
}

} // namespace vitrel
