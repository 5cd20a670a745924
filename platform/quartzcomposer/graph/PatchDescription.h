#pragma once

#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel::qc {

inline constexpr double kEndless = std::numeric_limits<double>::infinity();

// How a number is meant. A value beyond the range does no harm, and nothing that its author can have wanted.
struct Measure {
    const char* unit = ""; // "seconds", "degrees", "units", "pixels"; empty: none
    double least = -kEndless, most = kEndless;
    std::vector<const char*> labels = {}; // of an index, from 0 on; its range follows from them
};

inline const Measure kSeconds{"seconds"}, kDuration{"seconds", 0}, kDegrees{"degrees"}, kUnits{"units"},
    kSize{"units", 0}, kPixels{"pixels"}, kLength{"pixels", 0}, kShare{"", 0, 1}, kNotNegative{"", 0};

// A port as its class tells of it. The type and the usual value are the port's own.
struct DescribedPort {
    std::string key; // one "*" in it stands for a number or a name that the settings decide: "source_*"
    const char* meaning = ""; // a phrase: "How long one wave takes"
    Measure measure = {};
};

// What a file may say of a patch beyond its ports.
struct DescribedSetting {
    enum Kind { Number, Flag, Text, List, Table, Any };
    std::string key; // likewise with a "*"
    Kind kind = Any;
    const char* meaning = "";
    Measure measure = {};
    std::vector<const char*> words = {}; // a text is one of these; empty: any
};

// What a class of patches says of itself to those who write compositions: each port that any setting can make, and each
// setting that is looked at. What all patches have (`_enable`, `_time`, `timebase`) is not repeated.
struct PatchDescription {
    const char* title = "";
    const char* sentence = ""; // one or two
    std::vector<DescribedPort> ports;
    std::vector<DescribedSetting> settings = {};

    // Its own words ahead of those of what it is built of.
    PatchDescription with(const std::vector<DescribedPort>& more) &&
    {
        ports.insert(ports.end(), more.begin(), more.end());
        return std::move(*this);
    }

    // Null if nothing is said of it.
    const DescribedPort* port(std::string_view key) const { return find(ports, key); }
    const DescribedSetting* setting(std::string_view key) const { return find(settings, key); }

private:
    template <class Described> static const Described* find(const std::vector<Described>& all, std::string_view key);
};

// Whether `key` is what `pattern` stands for: the same, or with something in the place of its "*".
inline bool standsFor(std::string_view pattern, std::string_view key)
{
    const auto star = pattern.find('*');
    if (star == std::string_view::npos)
        return pattern == key;
    return key.size() >= pattern.size() && key.starts_with(pattern.substr(0, star))
        && key.ends_with(pattern.substr(star + 1));
}

// A key that is named outright comes before one that a pattern stands for.
template <class Described>
const Described* PatchDescription::find(const std::vector<Described>& all, std::string_view key)
{
    const Described* found = nullptr;
    for (const Described& one : all) {
        if (one.key == key)
            return &one;
        if (!found && standsFor(one.key, key))
            found = &one;
    }
    return found;
}

} // namespace vitrel::qc
