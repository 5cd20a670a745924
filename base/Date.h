#pragma once

#include <compare>

namespace vitrel {

// A point in time, in seconds since 1970-01-01 00:00:00 UTC, leap seconds not counted.
struct Date {
    double secondsSince1970 = 0;

    // Seconds since 2001-01-01 00:00:00 UTC.
    double timeIntervalSinceReferenceDate() const { return secondsSince1970 - 978307200.0; }
    static Date fromReferenceDate(double seconds) { return Date{seconds + 978307200.0}; }

    friend auto operator<=>(const Date&, const Date&) = default;
};

} // namespace vitrel
