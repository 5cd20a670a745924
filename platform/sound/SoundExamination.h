#pragma once

#include "base/Clock.h"

#include <optional>
#include <string>

namespace vitrel {

// What can be heard here, for people.
struct SoundExamination {
    std::string server, version; // as it calls itself: "PulseAudio (on PipeWire 0.3.65)"
    std::string output, description; // the default one: its name, and what people call it
    std::string monitor; // the source that gives what it plays
    std::optional<double> level; // the largest amplitude within 200 ms, 1 for full scale
    std::string problem; // why the rest is missing; empty if nothing is
};

// Asks the server and listens for a moment to what the output plays; opens nothing else. Takes `limit` at most, and
// nothing of the caller's loop.
SoundExamination examineSound(Seconds limit);

} // namespace vitrel
