#pragma once

#include "base/Clock.h"
#include "base/Date.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

// Measures how long pieces of work take and prints a line for each: the total, the lap, a mark for the fastest and the
// slowest so far, the ratio to the lap before. For diagnosis: each lap is kept. One thread at a time.
class Stopwatch
{
public:
    // Times are seconds of the wall clock. `clock` must outlive it.
    explicit Stopwatch(const Clock& clock);
    static Stopwatch initShowMillisecondsAsUnits(const Clock& clock, bool showMilliseconds);
    static Stopwatch initWithName(const Clock& clock, std::string name);

    // Starts at lap 1 again. The laps measured before stay for comparison.
    void reset();
    void lap() { lap("", 3); }
    void addLap(const std::string& title) { lap(title, 3); }
    void lap(const std::string& title, int decimals);
    // Counted and measured, but not printed.
    void silentLap();
    void lapSilent() { silentLap(); }
    // Printed even if the watch is muted.
    void lapUnmuted();
    void mute() { isMuted = true; }

    // For callers; nothing here reads it.
    void useForDebugOnlyWatch() { useForDebugOnly = true; }
    bool isDebug() const { return useForDebugOnly; }

    std::optional<Date> start, lastLap;
    std::optional<double> lastLapTime;
    std::int64_t laps = 1;
    std::vector<double> intervals;
    std::optional<std::string> title;
    bool isMuted = false;
    bool useForDebugOnly = false;
    // Prints "123" for 0.123. Times of a second and more keep their form.
    bool multiplyBy1000 = false;

private:
    const Clock* clock_;
};

} // namespace vitrel
