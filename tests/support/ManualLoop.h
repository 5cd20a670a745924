#pragma once

#include "platform/foundation/RunLoop.h"

#include <algorithm>

namespace vitrel {

struct ManualLoop {
    ManualClock clock;
    RunLoop loop{clock};

    // Walks from due call to due call, so that each sees the time it asked for. For a machine that slept, set
    // clock.time and call loop.turn() instead.
    void fastForwardBy(Seconds span)
    {
        const Seconds end = clock.time + span;
        for (auto due = loop.nextDue(); due && *due <= end; due = loop.nextDue()) {
            clock.time = std::max(clock.time, *due);
            loop.turn();
        }
        clock.time = end;
    }
    // Whether `event` comes to be true `delay` from now and no millisecond sooner. It is that time then.
    template <class Event> bool comesAfter(Seconds delay, Event event)
    {
        constexpr Seconds kMillisecond{0.001}, kRounding{0.000001};
        fastForwardBy(delay - kMillisecond);
        const bool isEarly = event();
        fastForwardBy(kMillisecond + kRounding);
        return !isEarly && event();
    }
};

} // namespace vitrel
