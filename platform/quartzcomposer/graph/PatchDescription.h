#pragma once

#include <limits>
#include <string>
#include <string_view>
#include <utility>
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

// An index that chooses one of these.
inline Measure menu(std::vector<const char*> labels)
{
    return {"", 0, double(labels.size()) - 1, std::move(labels)};
}

// A port as its class tells of it. The type and the usual value are the port's own.
struct DescribedPort {
    // One "*" in it stands for a number or a name that the settings decide: "source_*". In a class's own words "|" may
    // part several keys of one meaning; whoever asks the registry gets a port for each.
    std::string key;
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
    const char* example = ""; // as the text form has it: of one that makes ports, or whose form isn't plain
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

    PatchDescription with(std::vector<DescribedSetting> more) &&
    {
        settings.insert(settings.end(), more.begin(), more.end());
        return std::move(*this);
    }
    // Each key by itself.
    PatchDescription spread() &&
    {
        PatchDescription out{title, sentence, {}, {}};
        spreadInto(out.ports, ports);
        spreadInto(out.settings, settings);
        return out;
    }

    // Null if nothing is said of it.
    const DescribedPort* port(std::string_view key) const { return find(ports, key); }
    const DescribedSetting* setting(std::string_view key) const { return find(settings, key); }

private:
    template <class Described> static const Described* find(const std::vector<Described>& all, std::string_view key);
    template <class Described> static void spreadInto(std::vector<Described>& out, const std::vector<Described>& all)
    {
        for (const Described& one : all) {
            for (std::size_t from = 0, to = 0; to != std::string::npos; from = to + 1) {
                to = one.key.find('|', from);
                out.push_back(one);
                out.back().key = one.key.substr(from, to == std::string::npos ? to : to - from);
            }
        }
    }
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
