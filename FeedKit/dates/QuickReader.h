#pragma once

#include "FeedKit/dates/DateFormatters.h"

namespace FeedKit {

// Some of the formatters.
enum class Readers : unsigned { rfc822 = 1, rfc3339 = 2, iso8601 = 4, all = 7 };

constexpr Readers operator|(Readers a, Readers b)
{
    return static_cast<Readers>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}
constexpr bool overlap(Readers a, Readers b)
{
    return static_cast<unsigned>(a) & static_cast<unsigned>(b);
}

struct QuickDate {
    Date date;
    Readers readers; // who reads the text so; all others don't read it at all
};

// The common forms, read by hand: "Ddd, d Mmm yyyy HH:mm:ss zone", with or without weekday and seconds,
// "yyyy-MM-dd HH:mm:ss zone", "yyyy-MM-ddTHH:mm:ss[.fraction]zone" and "yyyy-MM-ddTHH:mm". Absent when it isn't certain
// what the formatters make of a text, which may still be a date. `text` is trimmed.
std::optional<QuickDate> readQuickly(std::string_view text);

} // namespace FeedKit
