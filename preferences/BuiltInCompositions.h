#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

struct SettingsSurroundings;

// A composition that comes along.
struct BuiltInComposition {
    std::string name; // for people: "Vinyl"
    std::string path; // full
    std::string picture; // the path of a picture of it that comes along, too; empty without one
};

// The compositions among the resources: the default one first, then those of the gallery in its order, then others by
// their names. They are no part of the user's list. Keeps what it has read; any thread.
class BuiltInCompositions
{
public:
    BuiltInCompositions() = default;
    // Reads the folder of the bundle that holds the saver's classes, then the host's own.
    explicit BuiltInCompositions(const SettingsSurroundings& surroundings);

    const std::vector<BuiltInComposition>& all() const { return all_; }
    // By its name or its file's, with or without the ending; case doesn't matter. Null if there is none, as for a path.
    const BuiltInComposition* find(std::string_view name) const;
    // Null for a path that is none's.
    const BuiltInComposition* at(std::string_view path) const;

private:
    std::vector<BuiltInComposition> all_;
};

// The path of what a saver plays that begins now and picks nothing at random: the user's choice; the default where
// there is none, or where the list is empty and the choice isn't one of `builtIn`. Empty if nothing comes along.
std::string compositionInForce(const SettingsSurroundings& surroundings, const BuiltInCompositions& builtIn);

} // namespace vitrel
