#pragma once

#include <gio/gio.h>

#include <memory>
#include <optional>
#include <string>

namespace vitrel {

// GLib's objects as owned pointers.
struct GlibRelease {
    void operator()(GVariant* value) const { g_variant_unref(value); }
    void operator()(GSettings* settings) const { g_object_unref(settings); }
    void operator()(GDBusConnection* bus) const { g_object_unref(bus); }
    void operator()(GSettingsSchema* schema) const { g_settings_schema_unref(schema); }
    void operator()(char* text) const { g_free(text); }
};
template <class T> using Glib = std::unique_ptr<T, GlibRelease>;

// A value's text if it is one. Null is none.
inline std::optional<std::string> textOf(GVariant* value)
{
    if (!value || !g_variant_is_of_type(value, G_VARIANT_TYPE_STRING))
        return std::nullopt;
    return g_variant_get_string(value, nullptr);
}

} // namespace vitrel
