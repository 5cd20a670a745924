#pragma once

#include "FeedKit/dates/DateFormatters.h"

#include <cstdint>
#include <memory>
#include <unicode/smpdtfmt.h>

// ICU's reading of a text by one pattern.
namespace FeedKit {

// The distinct patterns of the formatters, in the order of kPatterns.
enum class Pattern : std::uint8_t {
    weekdaySeconds,
    weekdayMinutes,
    daySecondsOffset,
    yearSecondsOffset,
    daySecondsZone,
    dayMinutesZone,
    isoSeconds,
    isoFraction,
    isoDashedFraction,
    isoMinutesFraction,
    isoMinutes,
};

inline constexpr std::array<std::string_view, 11> kPatterns{
    RFC822DateFormatter::dateFormats[0],
    RFC822DateFormatter::dateFormats[1],
    RFC822DateFormatter::dateFormats[2],
    RFC822DateFormatter::dateFormats[3],
    RFC822DateFormatter::backupFormats[0],
    RFC822DateFormatter::backupFormats[1],
    RFC3339DateFormatter::dateFormats[0],
    RFC3339DateFormatter::dateFormats[1],
    RFC3339DateFormatter::dateFormats[2],
    ISO8601DateFormatter::dateFormats[2],
    ISO8601DateFormatter::dateFormats[3],
};

// The whole of `text` by a strict formatter; absent also for a text that would make ICU divide by zero.
std::optional<Date> readStrictly(const icu::SimpleDateFormat& formatter, const icu::UnicodeString& text);

// The whole of `text` by `pattern`, in en_US_POSIX and GMT. The formatters are kept for each thread.
std::optional<Date> readByPattern(Pattern pattern, std::u16string_view text);

} // namespace FeedKit
