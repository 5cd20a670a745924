#pragma once

#include "platform/foundation/RunLoop.h"

namespace vitrel {

// A loop in real time, for what other processes do.
struct RealLoop {
    SystemClock clock;
    RunLoop loop{clock};

    // Turns the loop until `done`, with `meanwhile` at each turn; false if it isn't after so many seconds.
    template <class Done, class Meanwhile = void (*)()>
    bool turnUntil(
        Done done, double seconds = 20, Meanwhile meanwhile = [] {})
    {
        for (const Seconds end = clock.now() + Seconds(seconds); !done() && clock.now() < end; loop.turn()) {
            meanwhile();
            loop.wait(Seconds(0.005));
        }
        return done();
    }
};

} // namespace vitrel
