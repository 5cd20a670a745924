#pragma once

#include <optional>
#include <string_view>

namespace vitrel {

// A named character reference of HTML (section 13.5): "eacute" with one character, some with two.
struct NamedReference {
    std::string_view name;
    char32_t first;
    char32_t second; // 0 if there is none
    bool isBare; // does without its semicolon
};

struct FoundReference {
    const NamedReference& reference;
    std::size_t length; // of its text, the semicolon included
};

// The reference that begins behind an "&" with `text`, the longest there is, as browsers take it in text (HTML, section
// 13.2.5.73). Absent if there is none. Any thread.
std::optional<FoundReference> namedReferenceAt(std::string_view text);

} // namespace vitrel
