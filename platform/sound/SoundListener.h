#pragma once

#include "base/Clock.h"
#include "platform/sound/SoundRing.h"

#include <functional>
#include <memory>
#include <string>

namespace vitrel {

// Hears what the desktop's output plays, on PulseAudio and PipeWire, and writes it into a ring; never a microphone. It
// follows the default output, and comes back when the output or the server has gone. While nothing plays it costs
// nothing; while it isn't wanted it has no connection. Without a server there is silence. It has a thread of its own
// from the first time on that it is wanted, and nothing here waits for a server.
class SoundListener
{
public:
    struct Options {
        // After a failure the next connection is tried: twice as long each time.
        Seconds firstPause{1}, longestPause{30};
        std::string source = {}; // is opened in place of the right one, for tests
    };
    // `playing` is called from the listener's thread, when something can be heard and when nothing can any more: no
    // player that isn't paused, or a second of silence.
    SoundListener(std::shared_ptr<SoundRing> ring, std::function<void(bool playing)> playing)
        : SoundListener(std::move(ring), std::move(playing), Options())
    { }
    SoundListener(std::shared_ptr<SoundRing> ring, std::function<void(bool playing)> playing, Options options);
    ~SoundListener();
    SoundListener(const SoundListener&) = delete;
    SoundListener& operator=(const SoundListener&) = delete;

    // Any thread.
    void wanted(bool wanted);

private:
    class Loop;
    const std::unique_ptr<Loop> loop_;
};

} // namespace vitrel
