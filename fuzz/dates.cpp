// Dates of feeds, each held against ICU alone.
#include "FeedKit/dates/DateFormatters.h"
#include "FeedKit/dates/DateStrategies.h"
#include "support/PlainDates.h"

#include <cstdio>
#include <cstdlib>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace {

// ICU 72 divides by zero over a fraction of 35 digits.
bool isDeadly(std::string_view text)
{
    const auto unicode = icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
    int digits = 0;
    for (int at = 0; at < unicode.length(); at = unicode.moveIndex32(at, 1))
        digits += u_isdigit(unicode.char32At(at)) != 0;
    return digits >= 35;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace FeedKit;
    static const PlainDates plain;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    // Strategies are slow; their only promise here is to come back.
    if (size > 0 && data[size - 1] == '#')
        (void)decodingStrategy(text.substr(0, size - 1));
    const auto ours = {RFC822DateFormatter().date(text), RFC3339DateFormatter().date(text),
        ISO8601DateFormatter().date(text), toPermissiveDate(text)};
    if (isDeadly(text))
        return 0;
    const auto theirs = {plain.rfc822(text), plain.rfc3339(text), plain.iso8601(text), plain.permissive(text)};
    for (int k = 0; k < 4; ++k) {
        if (ours.begin()[k] != theirs.begin()[k]) {
            std::fprintf(stderr, "reader %d: %f, ICU: %f\n", k, ours.begin()[k].value_or(Date{-1}).secondsSince1970,
                theirs.begin()[k].value_or(Date{-1}).secondsSince1970);
            std::abort();
        }
    }
    return 0;
}
