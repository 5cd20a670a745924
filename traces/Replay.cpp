#include "traces/Replay.h"

#include <algorithm>

namespace vitrel {

Replay::Replay(Trace trace)
    : trace_(std::move(trace))
{ }

void Replay::write(TraceEvent event, const Writer& writer)
{
    if (event.sound) {
        if (event.sound->beats > heard_.beats)
            beatAt_ = time_;
        heard_ = *event.sound;
        return;
    }
    constexpr std::size_t kMostLater = 1000;
    const bool* flag = event.value.as<bool>();
    const auto seen = booleans_.find(event.key);
    const bool waits
        = std::any_of(later_.begin(), later_.end(), [&](const TraceEvent& other) { return other.key == event.key; });
    if ((waits || (flag && seen != booleans_.end() && seen->second != *flag)) && later_.size() < kMostLater) {
        later_.push_back(std::move(event));
        return;
    }
    if (flag)
        booleans_[event.key] = *flag;
    writer(event.value, event.key);
}

void Replay::advance(double time, const Writer& writer)
{
    time_ = std::max(time, time_);
    booleans_.clear();
    for (auto& event : std::exchange(later_, {}))
        write(std::move(event), writer);
    for (; at_ < trace_.lines.size() && trace_.lines[at_].t <= time_; ++at_)
        write(eventOf(trace_, trace_.lines[at_], images_), writer);
}

void Replay::rewind()
{
    at_ = 0;
    time_ = 0;
    beatAt_ = -std::numeric_limits<double>::infinity();
    heard_ = {};
    later_.clear();
}

std::optional<double> Replay::next() const
{
    if (!later_.empty())
        return time_;
    return at_ < trace_.lines.size() ? std::optional(trace_.lines[at_].t) : std::nullopt;
}

SoundHeard Replay::heard() const
{
    SoundHeard heard = heard_;
    heard.sinceBeat = time_ - beatAt_;
    return heard;
}

bool Replay::isSilent() const
{
    return heard_.peak == 0
        && std::all_of(heard_.spectrum.begin(), heard_.spectrum.end(), [](double level) { return level == 0; });
}

Date Replay::dateAt(double time) const
{
    const Date start = trace_.date.value_or(Date::fromReferenceDate(0));
    return Date{start.secondsSince1970 + time};
}

std::shared_ptr<void> ReplayedSound::listen(std::function<void()> onSound)
{
    auto listener = std::make_shared<std::function<void()>>(std::move(onSound));
    listeners_.push_back(listener);
    return listener;
}

void ReplayedSound::tell()
{
    std::erase_if(listeners_, [](const auto& listener) { return listener.expired(); });
    if (rests())
        return;
    const auto listeners = listeners_;
    for (const auto& each : listeners) {
        if (const auto listener = each.lock())
            (*listener)();
    }
}

} // namespace vitrel
