#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <string>

namespace vitrel {

// Writes the composition at `source` to `target`, which may be the same, with other values of its published inputs:
// named ".json" as a text (one that was written by hand keeps all else as it was, and pictures come to lie beside it),
// else as a composition. Empty if it is done, else why not, in one line. Replaces a file whole or not at all.
std::string saveWithValues(
    const std::string& source, const std::string& target, const std::map<std::string, nlohmann::ordered_json>& values);

} // namespace vitrel
