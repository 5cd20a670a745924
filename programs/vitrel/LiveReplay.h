#pragma once

#include "platform/quartzcomposer/CompositionView.h"
#include "traces/Replay.h"

#include <atomic>
#include <memory>

namespace vitrel {

// The system's clock, whose date may be that of another day. Any thread.
class HostClock final : public Clock
{
public:
    Seconds now() const override { return system_.now(); }
    Date date() const override { return Date{system_.date().secondsSince1970 + shift_}; }
    void setDate(Date date) { shift_ = date.secondsSince1970 - system_.date().secondsSince1970; }

private:
    SystemClock system_;
    std::atomic<double> shift_{0};
};

// A trace in the place of all that feeds a composition, as fast as it happened. Main thread.
class LiveReplay
{
public:
    // Both must outlive it.
    LiveReplay(RunLoop& loop, HostClock& clock, Trace trace);
    ~LiveReplay();

    SoundInput& sound() { return sound_; }
    // A view for a composition that takes from the trace alone.
    std::shared_ptr<CompositionView> makeView();
    // Its composition was loaded: from the beginning.
    void begin(const std::shared_ptr<QCView>& view);
    // A value by hand.
    static bool write(QCView& view, const Value& value, const std::string& key);

private:
    class View;
    void step();

    RunLoop& loop_;
    HostClock& clock_;
    Replay replay_;
    ReplayedSound sound_{replay_};
    Seconds start_{0};
    std::weak_ptr<QCView> view_;
    std::shared_ptr<NSTimer> timer_;
};

} // namespace vitrel
