#pragma once

#include "base/Bytes.h"

#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vitrel {

// The shortest decimal that reads back as `number`, in its own precision; whole numbers without a point, from 2^63 on
// with an exponent, as many readers take bare digits for an integer that overflows; "nan", "inf", "-inf". Independent
// of the locale.
template <std::floating_point Number> std::string shortestDecimal(Number number)
{
    if (number == std::floor(number) && std::fabs(number) < 1e15) {
        if (number == 0)
            return "0";
        return std::to_string(static_cast<std::int64_t>(number));
    }
    std::array<char, 64> buffer;
    const bool huge = std::fabs(number) >= Number(9223372036854775808.0) && std::isfinite(number);
    char* const last = buffer.data() + buffer.size();
    const auto end = huge ? std::to_chars(buffer.data(), last, number, std::chars_format::scientific)
                          : std::to_chars(buffer.data(), last, number);
    return {buffer.data(), end.ptr};
}

inline bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// The decimal number at the head of `text`, after blanks, as strtod reads it in the C locale; absent if there is
// none. Never gives a NaN or an infinity: "nan" and "inf" are words, and what overflows is absent.
inline std::optional<double> leadingNumber(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    if (text.starts_with('+'))
        text.remove_prefix(1);
    double number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    if (read.ec != std::errc() || !std::isfinite(number))
        return std::nullopt;
    return number;
}

// `text` with every byte that isn't part of well-formed UTF-8 (RFC 3629) replaced by U+FFFD.
inline std::string repairedUtf8(std::string_view text)
{
    const auto continuation
        = [&](std::size_t at) { return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80; };
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const auto lead = static_cast<unsigned char>(text[at]);
        std::size_t length = lead < 0x80  ? 1
            : lead >= 0xC2 && lead < 0xE0 ? 2
            : lead >= 0xE0 && lead < 0xF0 ? 3
            : lead >= 0xF0 && lead < 0xF5 ? 4
                                          : 0;
        bool good = length != 0;
        for (std::size_t k = 1; good && k < length; ++k)
            good = continuation(at + k);
        if (good && length >= 3) {
            const auto second = static_cast<unsigned char>(text[at + 1]);
            good = !(lead == 0xE0 && second < 0xA0) && !(lead == 0xED && second >= 0xA0)
                && !(lead == 0xF0 && second < 0x90) && !(lead == 0xF4 && second >= 0x90);
        }
        if (good) {
            out.append(text.substr(at, length));
            at += length;
        } else {
            out.append("\xEF\xBF\xBD");
            ++at;
        }
    }
    return out;
}

// Decodes base64 (RFC 4648, section 4), strictly: the alphabet alone, padded to a multiple of four. A line break,
// or anything else, makes the text invalid.
inline std::optional<Bytes> decodeBase64(std::string_view text)
{
    if (text.size() % 4 != 0)
        return std::nullopt;
    const auto digit = [](char c) -> int {
        if (c >= 'A' && c <= 'Z')
            return c - 'A';
        if (c >= 'a' && c <= 'z')
            return c - 'a' + 26;
        if (c >= '0' && c <= '9')
            return c - '0' + 52;
        return c == '+' ? 62 : c == '/' ? 63 : -1;
    };
    Bytes out;
    out.reserve(text.size() / 4 * 3);
    for (std::size_t at = 0; at < text.size(); at += 4) {
        const bool last = at + 4 == text.size();
        const int padding = last ? (text[at + 3] == '=') + (text[at + 3] == '=' && text[at + 2] == '=') : 0;
        std::uint32_t group = 0;
        for (int k = 0; k < 4; ++k) {
            const int value = k < 4 - padding ? digit(text[at + k]) : 0;
            if (value < 0)
                return std::nullopt;
            group = group << 6 | static_cast<std::uint32_t>(value);
        }
        for (int k = 0; k < 3 - padding; ++k)
            out.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * k)));
    }
    return out;
}

inline std::string encodeBase64(ByteView bytes)
{
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k)
            group = group << 8 | (k < count ? bytes[at + k] : 0u);
        for (std::size_t k = 0; k < 4; ++k)
            out.push_back(k <= count ? alphabet[group >> (18 - 6 * k) & 63] : '=');
    }
    return out;
}

// Two lower-case hexadecimal digits a byte.
inline std::string hexadecimal(ByteView bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes)
        (out += digits[byte >> 4]) += digits[byte & 15];
    return out;
}

// ASCII letters alone are changed, whatever the locale.
inline std::string asciiLowercase(std::string_view text)
{
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

// `text` without what `blanks` has at its ends.
inline std::string_view trimmed(std::string_view text, std::string_view blanks = " \t\n\r\f\v")
{
    const auto first = text.find_first_not_of(blanks);
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Resolves %XX escapes (RFC 3986, section 2.1). An escape that isn't two hexadecimal digits stays as it is.
inline std::string percentDecoded(std::string_view text)
{
    const auto hex = [](char c) -> int {
        return c >= '0' && c <= '9' ? c - '0'
            : c >= 'a' && c <= 'f'  ? c - 'a' + 10
            : c >= 'A' && c <= 'F'  ? c - 'A' + 10
                                    : -1;
    };
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '%' && at + 2 < text.size() && hex(text[at + 1]) >= 0 && hex(text[at + 2]) >= 0) {
            out.push_back(static_cast<char>(hex(text[at + 1]) * 16 + hex(text[at + 2])));
            at += 2;
        } else {
            out.push_back(text[at]);
        }
    }
    return out;
}

// Every byte but ASCII letters, digits and those of `kept` as %XX (RFC 3986, section 2.1).
inline std::string percentEncoded(std::string_view text, std::string_view kept)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : text) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (plain || kept.find(c) != std::string_view::npos) {
            out += c;
        } else {
            out += '%';
            out += digits[static_cast<unsigned char>(c) >> 4];
            out += digits[static_cast<unsigned char>(c) & 15];
        }
    }
    return out;
}

} // namespace vitrel
