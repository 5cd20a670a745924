#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

enum class ScriptType { Boolean, Index, Number, String, Color, Image, Structure, Virtual };

// One parameter of the header. `key` is the port's key: the name with the blanks behind it, which stored values and
// connections have too. With an `arrayCount` it stands for so many ports, KEY_0 and up, and is an array in the script.
struct ScriptParameter {
    std::string key;
    std::string name; // as the script spells it
    ScriptType type = ScriptType::Virtual;
    int arrayCount = 0; // 0: a single value
};

// A script's typed header taken apart.
struct ScriptHeader {
    std::vector<ScriptParameter> outputs, inputs;
    // The text as plain JavaScript, with a `function main(a, b)` in the header's place; lines keep their numbers.
    std::string source;
};

// Reads the header form: `function (__number a, ...) main (__string b, __image c[3], ...) { ... }`, wherever it stands
// in the text. Absent if there is none, and for a text over 1 MiB or more than 4096 ports. Linear time. Any thread.
std::optional<ScriptHeader> parseScriptHeader(std::string_view text);

} // namespace vitrel
