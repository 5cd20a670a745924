#pragma once

#include "base/Date.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

// Dates as text. Any thread; every call makes its own formatter and drops it. A pattern that is none, or a date beyond
// what calendars have, gives empty text.

// `format` is a pattern of ICU. In UTC; calendar and digits are the current user's, so "y" is 2569 in Bangkok.
std::string universalDatetimeFormatted(Date date, std::string_view format);
// The other way, for who was sent such a text by a program with another environment, whose calendar and digits aren't
// known: the dates that would be written so, to the character, in any of the calendars and digits there are. None
// for a text of more than 34 characters.
std::vector<Date> datesFromUniversalDatetime(std::string_view text, std::string_view format);

// Identifiers, all through universalDatetimeFormatted.
std::string dateID(Date date); // 20261116
std::string timeID(Date date); // 220509
std::string timeMsID(Date date); // 220509.123
std::string datetimeID(Date date); // 20261116220509
std::string date_timeID(Date date); // 20261116_220509
std::string date_timeIDDashed(Date date); // 20261116-220509
std::string date_timeMsID(Date date); // 20261116_220509.123
std::string date_timeMsIDDashed(Date date); // 20261116-220509.123
std::string dateIDDashed(Date date); // 2026-11-16
std::string timeIDDotted(Date date); // 22.05.09
std::string timeMsIDDotted(Date date); // 22.05.09.123
std::string dateTimeIDDashed(Date date); // 2026-11-16 22.05.09
std::string dateTimeMsIDDashed(Date date); // 2026-11-16 22.05.09.123
std::string dateAtTimeIDDashed(Date date); // 2026-11-16 at 22.05.09
std::string dateAtTimeMsIDDashed(Date date); // 2026-11-16 at 22.05.09.123
std::string dateFormattedYearTimeMiliSecondsID(Date date); // 2026-11-16 22.05.09.123

// For people who read American English; in the local time zone.
std::string formattedUS(Date date, std::string_view format);
std::string formattedAsWeekdayAndFullDescription(Date date); // Mon, Nov 16, 2026 22:05
std::string formattedAsWeekdayAndFullDescriptionDay(Date date); // Mon, Nov 16, 2026
std::string formattedAsTime(Date date); // 22:05

// The age at `now` as one number and a letter or two: "3y", "2mo", "1w", "6d", "5h", "0m".
std::string timeAgo(Date date, Date now);
// "3d ago", "5h ago", "12m ago", "Just Now" below two minutes; absent for what is older than `daysLimit` days.
std::optional<std::string> hoursDaysAgo(Date date, std::int64_t daysLimit, Date now);

// Dates as one says them at `now`, in American English and the local time zone. Today and yesterday are days of the
// calendar there. Cases are tried in the order in which they stand.

// "Today at 22:05"; "Yesterday at 22:05"; "Mon, Nov 16,  22:05" in the same year; "Mon, Nov 16, 2026  22:05".
std::string descriptionForDayAndTime(Date date, Date now);
// "Today, 5h ago" if it is over; else as above.
std::string descriptionForRelativeDayAndTime(Date date, Date now);
// "5h ago", "6d ago" up to a week after; else as descriptionForDayAndTime.
std::string descriptionForRelativeDay(Date date, Date now);

} // namespace vitrel
