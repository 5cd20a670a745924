#pragma once

#include <chrono>
#include <compare>

namespace FeedKit {

// A point in time, in seconds since 1970-01-01 00:00:00 UTC, leap seconds not counted, with a fraction.
struct Date {
    double secondsSince1970 = 0;

    // The same to the millisecond, which is as finely as feeds tell. Within the years 0 to 9999, which are all that a
    // feed can say, nothing overflows.
    std::chrono::sys_time<std::chrono::milliseconds> timePoint() const
    {
        using namespace std::chrono;
        return sys_time<milliseconds>(round<milliseconds>(duration<double>(secondsSince1970)));
    }
    template <class Duration> static Date from(std::chrono::sys_time<Duration> time)
    {
        return Date{std::chrono::duration<double>(time.time_since_epoch()).count()};
    }

    friend auto operator<=>(const Date&, const Date&) = default;
};

} // namespace FeedKit
