#pragma once

#include "platform/sound/SoundInput.h"
#include "traces/Trace.h"

#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vitrel {

// A trace as the time goes on: what was written, heard, and what the date was. Main thread.
class Replay
{
public:
    explicit Replay(Trace trace);

    using Writer = std::function<void(const Value& value, const std::string& key)>;
    // Goes on to `time`, in seconds of the trace, and writes what was written until then, in its order. A boolean that
    // rose and fell since the last step is down again in the next one only: an edge between two frames starts
    // something, too.
    void advance(double time, const Writer& writer);
    // To the beginning, ahead of the first line.
    void rewind();
    // When the next step has something to do; absent at the end.
    std::optional<double> next() const;

    // At the time of the last step.
    SoundHeard heard() const;
    bool isSilent() const;
    Date date() const { return dateAt(time_); }
    Date dateAt(double time) const;

private:
    void write(TraceEvent event, const Writer& writer);

    Trace trace_;
    TraceImages images_;
    std::size_t at_ = 0; // of the lines
    double time_ = 0, beatAt_ = -std::numeric_limits<double>::infinity();
    SoundHeard heard_;
    std::map<std::string, bool> booleans_; // written in this step
    std::vector<TraceEvent> later_; // what the next step begins with
};

// The sound of a replay that somebody else takes through the time. Main thread.
class ReplayedSound final : public SoundInput
{
public:
    // `replay` must outlive it.
    explicit ReplayedSound(const Replay& replay)
        : replay_(replay)
    { }
    std::shared_ptr<void> listen(std::function<void()> onSound) override;
    SoundHeard hear() override { return replay_.heard(); }
    bool rests() const override { return replay_.isSilent(); }
    // The replay has gone on.
    void tell();

private:
    const Replay& replay_;
    std::vector<std::weak_ptr<std::function<void()>>> listeners_;
};

} // namespace vitrel
