#include "support/Stopwatch.h"

#include "support/NumberKit.h"
#include "support/PrintKit.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vitrel {
namespace {

std::string withoutLeadingZeros(std::string text)
{
    for (auto at = text.find("0."); at != std::string::npos; at = text.find("0.", at))
        text.erase(at, 2);
    return text;
}

} // namespace

Stopwatch::Stopwatch(const Clock& clock)
    : clock_(&clock)
{
    reset();
}

Stopwatch Stopwatch::initShowMillisecondsAsUnits(const Clock& clock, bool showMilliseconds)
{
    Stopwatch watch(clock);
    watch.multiplyBy1000 = showMilliseconds;
    return watch;
}

Stopwatch Stopwatch::initWithName(const Clock& clock, std::string name)
{
    Stopwatch watch(clock);
    watch.title = std::move(name);
    return watch;
}

void Stopwatch::reset()
{
    start = clock_->date();
    lastLap = start;
    laps = 1;
}

void Stopwatch::lap(const std::string& lapTitle, int decimals)
{
    const Date now = clock_->date();
    const auto since = [&](const Date& then) { return now.secondsSince1970 - then.secondsSince1970; };
    const double total = since(start.value_or(now));
    const double lapTime = since(lastLap.value_or(now));

    const auto shown = [&](double seconds) {
        std::string text = formatLocale(seconds, decimals);
        return multiplyBy1000 ? withoutLeadingZeros(std::move(text)) : text;
    };
    const bool first = intervals.empty();
    const double fastest = first ? 0 : *std::min_element(intervals.begin(), intervals.end());
    const double slowest = first ? 0 : *std::max_element(intervals.begin(), intervals.end());
    intervals.push_back(lapTime);
    const char* mark = laps == 0 ? "" : lapTime < fastest ? "🟢(min)" : lapTime > slowest ? "🔴(max)" : "";
    std::string ratio;
    if (lastLapTime) {
        const double times = lapTime / *lastLapTime;
        ratio = formatWithDecimals(times, std::fabs(times) > 10 ? 0 : 1) + "x";
    }
    if (!isMuted) {
        const std::string name = title && !title->empty() ? *title + " " : std::string();
        print::line("⏱- " + shown(total) + ", Lap " + std::to_string(laps) + ": " + shown(lapTime) + " " + name
            + lapTitle + "  " + mark + " " + ratio);
    }
    lastLap = now;
    ++laps;
    lastLapTime = lapTime;
}

void Stopwatch::silentLap()
{
    const bool muted = std::exchange(isMuted, true);
    lap();
    isMuted = muted;
}

void Stopwatch::lapUnmuted()
{
    const bool muted = std::exchange(isMuted, false);
    lap();
    isMuted = muted;
}

} // namespace vitrel
