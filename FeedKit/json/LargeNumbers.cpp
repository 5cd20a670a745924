#include "FeedKit/json/LargeNumbers.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace FeedKit {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isOfNumber(char c)
{
    return isDigit(c) || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

// The number that JSON's grammar finds whole in `text`, and no other text (RFC 8259, section 6).
bool isNumber(std::string_view text)
{
    const auto digits = [&] {
        const auto count = std::find_if_not(text.begin(), text.end(), isDigit) - text.begin();
        text.remove_prefix(static_cast<std::size_t>(count));
        return count;
    };
    if (text.starts_with('-'))
        text.remove_prefix(1);
    const bool startsWithZero = text.starts_with('0');
    const auto whole = digits();
    if (whole == 0 || (startsWithZero && whole > 1))
        return false;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        if (digits() == 0)
            return false;
    }
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        if (text.starts_with('-') || text.starts_with('+'))
            text.remove_prefix(1);
        if (digits() == 0)
            return false;
    }
    return text.empty();
}

template <class T> bool isBeyond(std::string_view text)
{
    T value{};
    return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc::result_out_of_range;
}

// A small number, whose exponent has a minus, is out of from_chars' range, too, and reads as 0.
bool isBeyondDoubles(std::string_view text)
{
    return isBeyond<double>(text) && text.find('-', 1) == text.npos;
}

void appendNumber(std::string& out, std::string_view text)
{
    const bool isInteger = text.find_first_of(".eE") == text.npos;
    if (!isNumber(text) || !(isInteger ? isBeyond<std::int64_t>(text) : isBeyondDoubles(text)))
        out += text;
    else if (isBeyondDoubles(text))
        out += kBeyondRange;
    else
        (out += text) += isBeyond<std::uint64_t>(text) || text.starts_with('-') ? ".0" : "";
}

std::size_t lengthOfString(std::string_view text)
{
    for (std::size_t at = 1; at < text.size(); ++at) {
        if (text[at] == '\\')
            ++at;
        else if (text[at] == '"')
            return at + 1;
    }
    return text.size();
}

} // namespace

std::string withinRange(std::string_view json)
{
    std::string out;
    out.reserve(json.size());
    while (!json.empty()) {
        std::size_t length = 1;
        if (json[0] == '"') {
            length = lengthOfString(json);
            out += json.substr(0, length);
        } else if (isDigit(json[0]) || json[0] == '-') {
            length = static_cast<std::size_t>(std::find_if_not(json.begin(), json.end(), isOfNumber) - json.begin());
            appendNumber(out, json.substr(0, length));
        } else {
            out += json[0];
        }
        json.remove_prefix(length);
    }
    return out;
}

} // namespace FeedKit
