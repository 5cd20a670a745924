// A trace that somebody sends: all of it is played, in steps.
#include "traces/Replay.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace vitrel;
    Trace trace = traceOfText(textOf({data, size}), std::nullopt, "/nonexistent");
    double last = 0;
    for (const auto& line : trace.lines) {
        if (!(line.t >= last))
            std::abort();
        last = line.t;
    }
    Replay replay(std::move(trace));
    const auto write = [](const Value&, const std::string& key) {
        if (key.size() > Trace::kMostOfLine)
            std::abort();
    };
    for (const double time : {0.0, 0.5, 1.0, last, last})
        replay.advance(time, write);
    const auto heard = replay.heard();
    if (!(heard.peak >= 0 && heard.peak <= 1 && heard.sinceBeat >= 0))
        std::abort();
    return 0;
}
