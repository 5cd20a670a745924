#pragma once

#include "platform/sound/PulseKit.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace vitrel {

// What an output plays, from its monitor and from nothing else: not a sample is let in before the server has said that
// the source which it opened is the monitor of this very output. A server may open a microphone for a name that it
// doesn't know, and moves streams there when an output goes. In the main loop's thread.
class MonitorStream
{
public:
    struct Events {
        std::function<void()> verified; // it is the monitor; the stream is corked
        std::function<void(std::span<const float> mono, unsigned rate)> samples;
        std::function<void()> ended; // or refused, or the source is another one; once. May end the object
    };
    // The context is ready and outlives this. `source` is opened in place of the monitor, for tests.
    MonitorStream(pa_context* context, PulseSink sink, Events events, const std::string& source = {});
    MonitorStream(const MonitorStream&) = delete;
    MonitorStream& operator=(const MonitorStream&) = delete;

    const PulseSink& sink() const { return sink_; }
    // A corked stream costs nothing and lets the output sleep.
    void cork(bool corked);

private:
    void changed();
    void check();
    void answered();
    void read();
    void end();

    pa_context* const context_;
    const PulseSink sink_;
    Events events_;
    bool isOfSink_ = false, isVerified_ = false, isCorked_ = true;
    unsigned channels_ = 0, rate_ = 0;
    std::size_t stale_ = 0; // frames that are dropped next
    std::vector<float> mono_;
    PulseStream stream_;
    PulseOperation question_;
};

} // namespace vitrel
