#include "FeedKit/dates/DateFormatters.h"

#include "FeedKit/conversions/Conversions.h"
#include "FeedKit/dates/DateText.h"
#include "FeedKit/dates/QuickReader.h"

#include <algorithm>
#include <span>

namespace FeedKit {

namespace {

using P = Pattern;
template <std::size_t n> constexpr std::array<P, n> patternsOf(const std::array<std::string_view, n>& texts)
{
    std::array<P, n> patterns{};
    for (std::size_t k = 0; k < n; ++k)
        patterns[k] = P(std::find(kPatterns.begin(), kPatterns.end(), texts[k]) - kPatterns.begin());
    return patterns;
}
constexpr auto kRFC822 = patternsOf(RFC822DateFormatter::dateFormats);
constexpr auto kRFC822Backup = patternsOf(RFC822DateFormatter::backupFormats);
constexpr auto kRFC3339 = patternsOf(RFC3339DateFormatter::dateFormats);
constexpr auto kISO8601 = patternsOf(ISO8601DateFormatter::dateFormats);

// A text from some place on, and the patterns that may still read it.
struct Attempt {
    const DateText& text;
    std::size_t start;
    PatternSet open = text.candidates(start);

    std::optional<Date> tryInOrder(std::span<const P> patterns) const
    {
        for (const auto pattern : patterns) {
            if (!open.has(pattern))
                continue;
            if (const auto date = text.read(pattern, start))
                return date;
        }
        return std::nullopt;
    }
};

std::optional<Date> readBy(Readers readers, std::string_view untrimmed)
{
    const auto trimmedText = trimmed(untrimmed);
    if (const auto quick = readQuickly(trimmedText))
        return overlap(quick->readers, readers) ? std::optional(quick->date) : std::nullopt;
    if (trimmedText.find(':') == trimmedText.npos) // every pattern has one
        return std::nullopt;

    const DateText text(trimmedText);
    const Attempt whole{text, 0};
    if (overlap(readers, Readers::rfc822)) {
        if (const auto date = whole.tryInOrder(kRFC822))
            return date;
        const auto start = text.behindLeadingWord();
        const Attempt stripped{text, start};
        if (const auto date = (start > 0 ? stripped : whole).tryInOrder(kRFC822Backup))
            return date;
    }
    if (overlap(readers, Readers::rfc3339)) {
        if (const auto date = whole.tryInOrder(kRFC3339))
            return date;
    }
    return overlap(readers, Readers::iso8601) ? whole.tryInOrder(kISO8601) : std::nullopt;
}

} // namespace

std::optional<Date> ISO8601DateFormatter::date(std::string_view text) const
{
    return readBy(Readers::iso8601, text);
}

std::optional<Date> RFC3339DateFormatter::date(std::string_view text) const
{
    return readBy(Readers::rfc3339, text);
}

std::optional<Date> RFC822DateFormatter::date(std::string_view text) const
{
    return readBy(Readers::rfc822, text);
}

std::optional<Date> toPermissiveDate(std::string_view text)
{
    return readBy(Readers::all, text);
}

} // namespace FeedKit
