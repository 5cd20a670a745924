#include "FeedKit/html/References.h"

#include "FeedKit/basics/Letters.h"
#include "FeedKit/html/Characters.h"

#include <algorithm>
#include <cstdint>

namespace FeedKit {

namespace {

constexpr std::size_t kLongestName = 8; // "thetasym"
constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kBeyondUnicode = 0x110000;

// The characters of windows-1252 that have the numbers from 128 on; those it doesn't define stand for themselves.
constexpr char16_t kWindows1252[] = {0x20AC, 0x81, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030,
    0x0160, 0x2039, 0x0152, 0x8D, 0x017D, 0x8F, 0x90, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0x02DC,
    0x2122, 0x0161, 0x203A, 0x0153, 0x9D, 0x017E, 0x0178};

std::uint32_t characterOf(std::uint32_t number)
{
    if (number == 0 || number >= kBeyondUnicode || (number >= 0xD800 && number < 0xE000))
        return kReplacement;
    return number >= 0x80 && number < 0xA0 ? kWindows1252[number - 0x80] : number;
}

void appendUtf8(std::string& out, std::uint32_t character)
{
    const auto further = [&](unsigned shift) { out += static_cast<char>(0x80 | (character >> shift & 0x3F)); };
    if (character < 0x80) {
        out += static_cast<char>(character);
    } else if (character < 0x800) {
        out += static_cast<char>(0xC0 | character >> 6);
        further(0);
    } else if (character < 0x10000) {
        out += static_cast<char>(0xE0 | character >> 12);
        further(6);
        further(0);
    } else {
        out += static_cast<char>(0xF0 | character >> 18);
        further(12);
        further(6);
        further(0);
    }
}

int digitOf(char c, int base)
{
    const int digit = isASCIIDigit(c) ? c - '0' : isASCIILetter(c) ? lowercase(c) - 'a' + 10 : base;
    return digit < base ? digit : -1;
}

// Of "#65;" or "#x41;", the ampersand gone: how many bytes it takes, 0 if it is none.
std::size_t appendNumeric(std::string& out, std::string_view text)
{
    const bool isHexadecimal = text.size() > 1 && lowercase(text[1]) == 'x';
    const int base = isHexadecimal ? 16 : 10;
    const std::size_t first = isHexadecimal ? 2 : 1;
    std::size_t at = first;
    std::uint32_t number = 0;
    for (; at < text.size() && digitOf(text[at], base) >= 0; ++at) {
        const auto next
            = number * static_cast<std::uint32_t>(base) + static_cast<std::uint32_t>(digitOf(text[at], base));
        number = std::min(next, kBeyondUnicode); // any number of digits may come
    }
    if (at == first)
        return 0;
    appendUtf8(out, characterOf(number));
    return at < text.size() && text[at] == ';' ? at + 1 : at;
}

// A character below U+0100, which is at most two bytes. "apos" is younger than the habit.
bool goesWithoutSemicolon(std::string_view name, std::string_view characters)
{
    return characters.size() <= 2 && static_cast<unsigned char>(characters[0]) < 0xC4 && name != "apos";
}

// Of "amp;", likewise.
std::size_t appendNamed(std::string& out, std::string_view text, ReferencePlace place)
{
    std::size_t length = 0;
    while (
        length < text.size() && length <= kLongestName && (isASCIILetter(text[length]) || isASCIIDigit(text[length])))
        ++length;
    const auto name = text.substr(0, length);
    const auto characters = htmlCharacters(name);
    if (characters.empty())
        return 0;
    const char next = length < text.size() ? text[length] : ' ';
    if (next != ';' && (!goesWithoutSemicolon(name, characters) || (place == ReferencePlace::attribute && next == '=')))
        return 0;
    out += characters;
    return length + (next == ';' ? 1 : 0);
}

} // namespace

void appendResolved(std::string& out, std::string_view text, ReferencePlace place)
{
    for (;;) {
        const auto ampersand = text.find('&');
        out += text.substr(0, ampersand);
        if (ampersand == text.npos)
            return;
        text.remove_prefix(ampersand + 1);
        const auto taken = text.starts_with('#') ? appendNumeric(out, text) : appendNamed(out, text, place);
        if (taken == 0)
            out += '&';
        text.remove_prefix(taken);
    }
}

} // namespace FeedKit
