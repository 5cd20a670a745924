#include "platform/sound/HeardSound.h"

#include <algorithm>
#include <list>
#include <utility>
#include <vector>

namespace vitrel {
namespace {

// Without a sample for so long nothing is heard, whoever says that something plays.
constexpr Seconds kSilent{0.5};

} // namespace

struct HeardSound::State {
    using OnSound = std::function<void()>;
    const Clock& clock;
    SoundRing::Reader reader;
    std::function<void(bool)> wanted;
    std::list<std::shared_ptr<OnSound>> listeners;
    bool isPlaying = false;
    std::optional<SoundAnalysis> analysis;
    Seconds lastSample{0};
    std::uint64_t earlierBeats = 0; // of analyses before this one
    Seconds lastBeat{0};

    // What was analysed belongs to another sound.
    void begin()
    {
        reader.skip();
        restart();
    }
    void restart()
    {
        earlierBeats += analysis ? analysis->heard().beats : 0;
        analysis.reset();
    }
    bool takeNew();
};

// False if there is nothing new.
bool HeardSound::State::takeNew()
{
    const auto samples = reader.read();
    if (samples.empty())
        return false;
    if (!analysis || analysis->rate() != reader.rate()) {
        restart();
        analysis.emplace(reader.rate());
    }
    const auto before = analysis->heard().beats;
    analysis->take(samples);
    lastSample = clock.now();
    if (const SoundHeard heard = analysis->heard(); heard.beats != before)
        lastBeat = lastSample - Seconds(heard.sinceBeat);
    return true;
}

HeardSound::HeardSound(const Clock& clock, std::shared_ptr<const SoundRing> ring, std::function<void(bool)> wanted)
    : state_(new State{clock, SoundRing::Reader(std::move(ring)), std::move(wanted)})
{ }

HeardSound::~HeardSound()
{
    state_->wanted = nullptr;
}

void HeardSound::playing(bool playing)
{
    if (std::exchange(state_->isPlaying, playing) == playing)
        return;
    if (!playing) {
        state_->begin();
        return;
    }
    // Who is called may listen, and others stop listening, who aren't called any more then.
    for (const auto& weak :
        std::vector<std::weak_ptr<State::OnSound>>(state_->listeners.begin(), state_->listeners.end()))
        if (const auto onSound = weak.lock(); onSound && *onSound)
            (*onSound)();
}

std::shared_ptr<void> HeardSound::listen(std::function<void()> onSound)
{
    auto& listeners = state_->listeners;
    const auto place = listeners.insert(listeners.end(), std::make_shared<State::OnSound>(std::move(onSound)));
    if (listeners.size() == 1) {
        state_->begin();
        state_->earlierBeats = 0;
        if (state_->wanted)
            state_->wanted(true);
    }
    return {this, [state = state_, place](void*) {
                state->listeners.erase(place);
                if (!state->listeners.empty())
                    return;
                state->begin();
                if (state->wanted)
                    state->wanted(false);
            }};
}

SoundHeard HeardSound::hear()
{
    if (state_->listeners.empty())
        return {};
    if (!state_->isPlaying)
        return {.beats = state_->earlierBeats};
    state_->takeNew();
    SoundHeard heard;
    if (state_->analysis && state_->clock.now() - state_->lastSample < kSilent)
        heard = state_->analysis->heard();
    heard.beats = state_->earlierBeats + (state_->analysis ? state_->analysis->heard().beats : 0);
    if (heard.beats > 0)
        heard.sinceBeat = (state_->clock.now() - state_->lastBeat).count();
    return heard;
}

bool HeardSound::rests() const
{
    return state_->listeners.empty() || !state_->isPlaying;
}

} // namespace vitrel
