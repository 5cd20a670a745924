#pragma once

#include "base/Result.h"
#include "platform/foundation/Value.h"
#include "platform/sound/SoundInput.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vitrel {

// What one view was fed, in its order: a trace as it was written down. Anybody may have written it: lines that are none
// are left out, and so is what lies beyond the limits.
struct Trace {
    struct Line {
        double t = 0; // seconds; never less than that of the line before
        std::string text; // JSON, looked into when its time has come
    };
    std::vector<Line> lines;
    std::optional<int> view; // whose lines these are; absent as long as there is none
    std::optional<Date> date; // the wall clock at t = 0
    std::string pictures; // the folder that they lie in; empty: none do

    static constexpr std::size_t kMostBytes = 64u << 20, kMostOfLine = 16u << 20, kMostLines = 1'000'000;
};

// The lines of a view, or of the first that there is: of its first run if a display was started again. The error is a
// text for people: a file that can't be read, or that has lines and none of a trace's.
Result<Trace, std::string> readTrace(const std::string& path, std::optional<int> view = std::nullopt);
// The same of a text.
Trace traceOfText(std::string_view text, std::optional<int> view, std::string pictures);

// The pictures of a trace that were read last: a cover comes under several keys, and is one image.
struct TraceImages {
    std::vector<std::pair<std::string, std::shared_ptr<const NSImage>>> recent; // by their names; few
};

// What a line says.
struct TraceEvent {
    std::string key; // empty for sound
    Value value; // an image has its pixels, if they lie beside the trace
    std::optional<SoundHeard> sound;
};
TraceEvent eventOf(const Trace& trace, const Trace::Line& line, TraceImages& images);

} // namespace vitrel
