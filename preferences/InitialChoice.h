#pragma once

#include <optional>
#include <string>

namespace vitrel {

class NSBundle;
struct SettingsSurroundings;

// The composition that comes along and plays until the user chooses, by its name among the resources.
inline constexpr const char* kDefaultComposition = "Muralis RSS Almanac";

// Makes it the active one for as long as the user has chosen none, so that it has settings as any other and gets its
// feed. Nothing is stored: whatever the user chooses holds at once, and a path that an update moves is never kept. Only
// where a built-in composition was chosen, and the installation that it came with has gone, is the same one of this
// installation chosen in its place.
// A built-in composition that was chosen plays although the list is empty: `plays` has that hold as if it were the one
// entry, for those who play and don't show the list. Ahead of the first view, and again when the choice has changed.
void setInitialChoice(const SettingsSurroundings& surroundings, bool plays);

// Its path: in the bundle with the saver's classes, else in the host's own.
std::optional<std::string> defaultCompositionPath(const SettingsSurroundings& surroundings);

// One of the user's list by chance; absent if it has fewer than two entries. Stores nothing.
std::optional<std::string> randomComposition(const SettingsSurroundings& surroundings);

} // namespace vitrel
