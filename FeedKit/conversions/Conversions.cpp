#include "FeedKit/conversions/Conversions.h"

#include <charconv>
#include <cmath>

namespace FeedKit {

namespace {

// Bytes of the space or newline at the head of `text`; 0 if there is none.
std::size_t spaceAtHead(std::string_view text)
{
    const auto byte = [&](std::size_t at) { return at < text.size() ? static_cast<unsigned char>(text[at]) : 0u; };
    const unsigned lead = byte(0);
    if ((lead >= 0x09 && lead <= 0x0D) || lead == 0x20)
        return 1;
    if (lead == 0xC2)
        return byte(1) == 0x85 || byte(1) == 0xA0 ? 2 : 0;
    if (lead < 0xE1 || lead > 0xE3 || (byte(1) & 0xC0) != 0x80 || (byte(2) & 0xC0) != 0x80)
        return 0;
    const unsigned code = (lead & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F);
    const bool space = code == 0x1680 || (code >= 0x2000 && code <= 0x200A) || code == 0x2028 || code == 0x2029
        || code == 0x202F || code == 0x205F || code == 0x3000;
    return space ? 3 : 0;
}

std::size_t spaceAtTail(std::string_view text)
{
    for (std::size_t length = 1; length <= 3 && length <= text.size(); ++length) {
        if (spaceAtHead(text.substr(text.size() - length)) == length)
            return length;
    }
    return 0;
}

} // namespace

std::string_view trimmed(std::string_view text)
{
    while (const auto length = spaceAtHead(text))
        text.remove_prefix(length);
    while (const auto length = spaceAtTail(text))
        text.remove_suffix(length);
    return text;
}

std::optional<std::int64_t> toInteger(std::string_view text)
{
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return std::nullopt;
    }
    std::int64_t value = 0;
    const auto end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, value);
    if (read.ec != std::errc() || read.ptr != end)
        return std::nullopt;
    return value;
}

std::optional<double> toDouble(std::string_view text)
{
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return std::nullopt;
    }
    double value = 0;
    const auto end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, value);
    if (read.ec != std::errc() || read.ptr != end || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<bool> toBool(std::string_view text)
{
    if (text == "True" || text == "true" || text == "Yes" || text == "yes" || text == "1")
        return true;
    if (text == "False" || text == "false" || text == "No" || text == "no" || text == "0")
        return false;
    return std::nullopt;
}

std::optional<double> toDuration(std::string_view text)
{
    text = trimmed(text);
    double seconds = 0;
    double unit = 1;
    for (;;) {
        const auto colon = text.rfind(':');
        const auto piece = toInteger(colon == text.npos ? text : text.substr(colon + 1));
        if (!piece)
            return std::nullopt;
        // After some 170 pieces the unit is infinite, and none of it would be no number.
        if (*piece != 0)
            seconds += static_cast<double>(*piece) * unit;
        if (colon == text.npos)
            return std::isfinite(seconds) ? std::optional(seconds) : std::nullopt;
        unit *= 60;
        text = text.substr(0, colon);
    }
}

} // namespace FeedKit
