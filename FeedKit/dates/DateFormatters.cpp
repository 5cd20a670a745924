#include "FeedKit/dates/DateFormatters.h"

#include "FeedKit/conversions/Conversions.h"
#include "FeedKit/dates/DateText.h"
#include "FeedKit/dates/QuickReader.h"

#include <span>

namespace FeedKit {

namespace {

using P = Pattern;
constexpr P kRFC822[] = {P::weekdaySeconds, P::weekdayMinutes, P::daySecondsOffset, P::yearSecondsOffset};
constexpr P kRFC822Backup[] = {P::daySecondsZone, P::dayMinutesZone};
constexpr P kRFC3339[] = {P::isoSeconds, P::isoFraction, P::isoDashedFraction};
constexpr P kISO8601[] = {P::isoFraction, P::isoSeconds, P::isoMinutesFraction, P::isoMinutes};

template <std::size_t n> constexpr bool spells(const P (&order)[n], const std::array<std::string_view, n>& patterns)
{
    for (std::size_t k = 0; k < n; ++k) {
        if (kPatterns[static_cast<std::size_t>(order[k])] != patterns[k])
            return false;
    }
    return true;
}
static_assert(spells(kRFC822, RFC822DateFormatter::dateFormats));
static_assert(spells(kRFC822Backup, RFC822DateFormatter::backupFormats));
static_assert(spells(kRFC3339, RFC3339DateFormatter::dateFormats));
static_assert(spells(kISO8601, ISO8601DateFormatter::dateFormats));

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
