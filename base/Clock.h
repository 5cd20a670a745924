#pragma once

#include "base/Date.h"

#include <chrono>

namespace vitrel {

using Seconds = std::chrono::duration<double>;

// Where everything with a delay takes its time from. `now` never runs backwards and has an arbitrary start;
// `date` is the wall clock and may jump. Any thread.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual Seconds now() const = 0;
    virtual Date date() const = 0;
};

class SystemClock final : public Clock
{
public:
    Seconds now() const override
    {
        return std::chrono::duration_cast<Seconds>(std::chrono::steady_clock::now().time_since_epoch());
    }
    Date date() const override
    {
        return Date{std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count()};
    }
};

// A clock in the hand of a test, or of a player that renders frame by frame. The wall clock moves with it.
class ManualClock final : public Clock
{
public:
    Seconds time{0};
    Date start{1'700'000'000.0};

    Seconds now() const override { return time; }
    Date date() const override { return Date{start.secondsSince1970 + time.count()}; }
};

} // namespace vitrel
