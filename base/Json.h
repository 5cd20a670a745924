#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vitrel {

// Appends `text` to `out` as what stands between the quotes of a JSON string (RFC 8259, section 7), escaping only what
// must be, with the short form where there is one. `text` is UTF-8; what isn't goes through as it is.
inline void appendEscapedJson(std::string& out, std::string_view text)
{
    const auto escape = [&out](unsigned char c) {
        constexpr char digits[] = "0123456789abcdef";
        if (c == '"' || c == '\\')
            (out += '\\') += static_cast<char>(c);
        else if (c >= 8 && c <= 13 && c != 11)
            (out += '\\') += "btn.fr"[c - 8];
        else
            ((out += "\\u00") += digits[c >> 4]) += digits[c & 15];
    };
    std::size_t done = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto c = static_cast<unsigned char>(text[at]);
        if (c >= 0x20 && c != '"' && c != '\\')
            continue;
        out.append(text, done, at - done);
        escape(c);
        done = at + 1;
    }
    out.append(text, done);
}

// The same as a whole string, in quotes.
inline void appendQuotedJson(std::string& out, std::string_view text)
{
    out += '"';
    appendEscapedJson(out, text);
    out += '"';
}

} // namespace vitrel
