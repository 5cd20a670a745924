#pragma once

#include "platform/quartzcomposer/graph/PortValue.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace vitrel {

// A port's value as the programs print it: numbers, booleans and texts as they are, a colour as [r, g, b, a], an image
// as {"image": [width, height]}, a structure as an object if it has keys and else as an array, nothing (and what JSON
// has no number for) as null.
nlohmann::ordered_json valueJson(const qc::PortValue& value);

// A value from the command line: JSON, or the text itself if it is none. For a colour port "#rrggbb" and "#rrggbbaa"
// are colours, and so are arrays of three or four numbers.
Value valueFromArgument(const std::string& text);

struct InputArgument {
    std::string key;
    Value value;
};
// KEY=VALUE; absent without a "=" or a key.
std::optional<InputArgument> inputArgument(const std::string& text);

} // namespace vitrel
