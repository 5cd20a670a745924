#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

class NSBundle;
struct SettingsSurroundings;

// A table of texts: lines of `"key" = "text";` with comments as in C, and \" \\ \n \t within the quotes. UTF-8. Absent
// for anything else and above a megabyte.
std::optional<std::map<std::string, std::string>> localizedStringsInText(std::string_view text);

// The user's languages by the environment's locale, the preferred one first: "de-AT", "de". Chinese is told by its
// script, "zh-Hans" or "zh-Hant". Empty for a locale without a language.
std::vector<std::string> userLanguages();

// The text for `key` in the main bundle's default table, in the first of the surroundings' languages that the bundle
// has a table of, else in English. A key without a text is its own. The table is read once. Any thread.
std::string NSLocalizedString(const SettingsSurroundings& surroundings, const std::string& key);

} // namespace vitrel
