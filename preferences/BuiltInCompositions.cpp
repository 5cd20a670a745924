#include "preferences/BuiltInCompositions.h"

#include "base/Text.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSObject.h"
#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/InitialChoice.h"
#include "preferences/Settings.h"

#include <algorithm>
#include <filesystem>
#include <tuple>

namespace vitrel {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kEnding = ".qtz";
constexpr const char* kPictures = "pictures";

// Files whose names aren't what people call them, and the order of the gallery.
struct Known {
    std::string_view file, name;
};
constexpr Known kGallery[] = {
    {kDefaultComposition, "Almanac"},
    {"Vinyl", "Vinyl"},
    {"Postcard", "Postcard"},
    {"Night Clock", "Night Clock"},
    {"Tide", "Tide"},
    {"Lanterns", "Lanterns"},
    {"Broadsheet", "Broadsheet"},
    {"Resonance", "Resonance"},
    {"Aurora", "Aurora"},
    {"Cover Wall", "Cover Wall"},
    {"Departures", "Departures"},
    {"Muralis Cover Still", "Cover Still"},
};

const Known* knownFile(std::string_view stem)
{
    const auto found = std::find_if(
        std::begin(kGallery), std::end(kGallery), [&](const Known& known) { return known.file == stem; });
    return found == std::end(kGallery) ? nullptr : found;
}

std::string stemOf(const std::string& path)
{
    const auto name = path.substr(path.rfind('/') + 1);
    return name.substr(0, name.size() - kEnding.size());
}

std::string pictureOf(const fs::path& folder, const std::string& stem)
{
    std::error_code error;
    for (const char* ending : {".jpg", ".png"}) {
        const auto picture = folder / kPictures / (stem + ending);
        if (fs::is_regular_file(picture, error))
            return picture.string();
    }
    return {};
}

} // namespace

BuiltInCompositions::BuiltInCompositions(const SettingsSurroundings& surroundings)
{
    for (const NSBundle* bundle : {surroundings.classBundle, surroundings.mainBundle}) {
        const std::string folder = bundle ? bundle->resourcePath() : std::string();
        std::error_code error;
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
            const std::string path = entry->path().string();
            std::error_code none;
            if (!path.ends_with(kEnding) || !entry->is_regular_file(none))
                continue;
            const std::string stem = stemOf(path);
            const Known* known = knownFile(stem);
            const std::string name(known ? known->name : std::string_view(stem));
            const bool isThere
                = std::any_of(all_.begin(), all_.end(), [&](const auto& other) { return other.name == name; });
            if (!isThere)
                all_.push_back({name, path, pictureOf(folder, stem)});
        }
    }
    const auto place = [](const BuiltInComposition& one) {
        const Known* known = knownFile(stemOf(one.path));
        return std::tuple(known ? known : std::end(kGallery), std::string_view(one.name));
    };
    std::sort(all_.begin(), all_.end(), [&](const auto& a, const auto& b) { return place(a) < place(b); });
}

const BuiltInComposition* BuiltInCompositions::find(std::string_view name) const
{
    std::string wanted = asciiLowercase(name);
    if (wanted.ends_with(kEnding))
        wanted.resize(wanted.size() - kEnding.size());
    const auto found = std::find_if(all_.begin(), all_.end(), [&](const BuiltInComposition& one) {
        return asciiLowercase(one.name) == wanted || asciiLowercase(stemOf(one.path)) == wanted;
    });
    return found == all_.end() ? nullptr : &*found;
}

const BuiltInComposition* BuiltInCompositions::at(std::string_view path) const
{
    const auto found
        = std::find_if(all_.begin(), all_.end(), [&](const BuiltInComposition& one) { return one.path == path; });
    return found == all_.end() ? nullptr : &*found;
}

std::string compositionInForce(const SettingsSurroundings& surroundings, const BuiltInCompositions& builtIn)
{
    const auto defaults = Settings::shared(surroundings).screenSaverDefaults();
    const auto listed = defaults->arrayForKey("Files Paths").value_or(Array());
    const auto chosen = defaults->stringForKey("Active File Path").value_or("");
    if (!chosen.empty() && (!listed.empty() || builtIn.at(chosen)))
        return chosen;
    return defaultCompositionPath(surroundings).value_or("");
}

} // namespace vitrel
