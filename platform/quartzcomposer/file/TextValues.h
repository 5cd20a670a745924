#pragma once

#include "platform/foundation/Value.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <string>

namespace vitrel::qc {

// How much of a property list may still be told: its objects may be shared, so that a small one is a text without end.
// What lies beyond is null.
struct TextBudget {
    std::size_t values = 2'000'000, bytes = 256u << 20;
    int depth = 0;
    bool spent() const { return values == 0 || bytes == 0; }
    void spend(std::size_t size)
    {
        values -= values > 0;
        bytes -= std::min(bytes, size);
    }
};

// Values of the text form. Numbers, booleans and plain texts are JSON's; a colour is "#rrggbbaa"; an object with one
// of these members alone stands for what JSON has no word for: "image" (a file beside the text), "data" (base64),
// "date" (seconds since 2001), "text" (one that looks like a colour), "lines" (a text of several lines, an array),
// "real" ("nan", "inf", "-inf"), "dictionary" (one that looks like one of these).
nlohmann::ordered_json valueJson(const Value& value, TextBudget& budget);

// Of a hexadecimal digit; -1 for any other character.
int hexDigit(char c);

// "#rrggbb" or "#rrggbbaa"; absent for any other text.
std::optional<NSColor> colorFromHex(const std::string& text);

// Text as JSON takes it: well-formed.
std::string jsonText(const std::string& text);

// A text of a file's for one line that a person reads: well-formed, control characters as blanks, and of so many
// characters at most, an ellipsis in place of the rest.
std::string shownText(const std::string& text, std::size_t characters);

class ValueReader
{
public:
    explicit ValueReader(std::string folder)
        : folder_(std::move(folder))
    { }
    Value value(const nlohmann::ordered_json& json);
    Dictionary dictionary(const nlohmann::ordered_json& json);
    // What went wrong first; empty if nothing did.
    const std::string& problem() const { return problem_; }

private:
    Value special(const std::string& kind, const nlohmann::ordered_json& json);
    std::string folder_, problem_;
    std::size_t read_ = 0; // bytes of files
};

// Adds a member to an object that has none of that key. Objects that keep their order search for a key one by one.
void append(nlohmann::ordered_json& object, std::string key, nlohmann::ordered_json value);

// True if brackets outside of strings nest no deeper than `depth` and no object has more than `members`: the parser
// calls itself for each level, and looks through an object for each of its members.
bool isShapedForParsing(std::string_view json, int depth, std::size_t members);
inline bool nestsAtMost(std::string_view json, int depth)
{
    return isShapedForParsing(json, depth, json.size() + 1);
}

} // namespace vitrel::qc
