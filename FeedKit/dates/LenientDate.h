#pragma once

#include "FeedKit/basics/Date.h"

#include <optional>
#include <string_view>

namespace FeedKit {

// A text that is meant for a date, though in no form that toPermissiveDate knows: two-digit years (RFC 2822, section
// 4.3), names of zones, a date without a time (midnight), whole names, "Jan 2, 2006 3:04 PM", asctime's form, ISO 8601
// with blanks, commas, slashes or without marks, 24:00, a leap second. A weekday is skipped unchecked; without a zone
// it is GMT. Absent for anything that leaves a doubt: days and months both in numbers unless the year comes first,
// unknown words, fields out of range, seconds since some moment. Nothing depends on the machine. Any thread.
std::optional<Date> toLenientDate(std::string_view text);

// By toPermissiveDate, else by toLenientDate, which is also asked where the former gives a year of less than four
// digits: it takes "04" as the year 4. `forgiven` becomes true if the second one gave the date.
std::optional<Date> toDateLeniently(std::string_view text, bool& forgiven);

} // namespace FeedKit
