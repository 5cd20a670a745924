#pragma once

#include <algorithm>
#include <string_view>

// Letters of addresses and markup, which are ASCII whatever the locale.
namespace FeedKit {

constexpr char lowercase(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}
constexpr bool isASCIILetter(char c)
{
    return lowercase(c) >= 'a' && lowercase(c) <= 'z';
}
constexpr bool isASCIIDigit(char c)
{
    return c >= '0' && c <= '9';
}
// White space of HTML.
constexpr bool isHTMLSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

// Equal but for the case of ASCII letters, as schemes, hosts, tags and media types are compared.
constexpr bool sameIgnoringCase(std::string_view a, std::string_view b)
{
    return std::equal(
        a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lowercase(x) == lowercase(y); });
}

} // namespace FeedKit
