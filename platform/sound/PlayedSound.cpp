#include "platform/sound/PlayedSound.h"

#include <algorithm>
#include <utility>

namespace vitrel {
namespace {

// What is heard depends on no more of the past.
constexpr unsigned kPast = 20; // seconds

// A sound that can't be one is as good as none.
Sound plausible(Sound sound)
{
    if (sound.rate < kLeastSoundRate || sound.rate > kMostSoundRate)
        return {{}, 44'100};
    return sound;
}

} // namespace

PlayedSound::PlayedSound(const Clock& clock, Sound sound, Times times)
    : clock_(clock)
    , sound_(plausible(std::move(sound)))
    , times_(sound_.samples.empty() ? Times::once : times)
    , start_(clock.now())
    , analysis_(sound_.rate)
{ }

std::shared_ptr<void> PlayedSound::listen(std::function<void()>)
{
    ++*listeners_;
    return {this, [listeners = listeners_](void*) { --*listeners; }};
}

std::uint64_t PlayedSound::position() const
{
    const auto past = std::uint64_t(std::max((clock_.now() - start_).count(), 0.0) * sound_.rate);
    const std::uint64_t end = sound_.samples.size() + analysis_.windowSize() + analysis_.hop();
    return times_ == Times::once ? std::min(past, end) : past;
}

SoundHeard PlayedSound::hear()
{
    if (*listeners_ == 0 || rests())
        return {};
    const std::uint64_t end = position();
    if (end - analysed_ > std::uint64_t(kPast) * sound_.rate) {
        earlierBeats_ += analysis_.heard().beats;
        analysis_ = SoundAnalysis(sound_.rate);
        analysed_ = end - std::uint64_t(kPast) * sound_.rate;
    }
    static constexpr float kSilence[1024] = {};
    while (analysed_ < end) {
        const std::uint64_t size = sound_.samples.size(),
                            place = times_ == Times::forever ? analysed_ % size : std::min(analysed_, size);
        const auto count = std::min(end - analysed_, place < size ? size - place : std::size(kSilence));
        analysis_.take({place < size ? &sound_.samples[place] : kSilence, std::size_t(count)});
        analysed_ += count;
    }
    SoundHeard heard = analysis_.heard();
    heard.beats += earlierBeats_;
    return heard;
}

bool PlayedSound::rests() const
{
    return *listeners_ == 0
        || (times_ == Times::once && position() == sound_.samples.size() + analysis_.windowSize() + analysis_.hop());
}

} // namespace vitrel
