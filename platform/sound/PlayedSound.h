#pragma once

#include "base/Clock.h"
#include "base/Result.h"
#include "platform/sound/SoundAnalysis.h"
#include "platform/sound/SoundInput.h"
#include "platform/sound/SoundLimits.h"

#include <memory>
#include <string>
#include <vector>

namespace vitrel {

struct Sound {
    std::vector<float> samples; // one channel
    unsigned rate = 0; // samples per second, kLeastSoundRate to kMostSoundRate
};

// Any file that libsndfile reads, its channels mixed: of at most 1 GiB, half an hour (of rates above
// 48 kHz as many samples as that has) and 32 channels. What isn't a
// number becomes 0. The error is a text for people. Waits for the disk.
Result<Sound, std::string> readSound(const std::string& path);

// Some bars of ours, to be looped: drums, a bass, chords. Made when it is asked for, always the same.
Sound demonstrationSound();

// A sound that plays from the moment on when this is made. Nobody hears it; compositions see it. What is heard depends
// on the moment alone and not on how often somebody asked before, as long as that is every 20 seconds. Main thread.
class PlayedSound final : public SoundInput
{
public:
    enum class Times { once, forever };
    // The clock outlives this.
    PlayedSound(const Clock& clock, Sound sound, Times times);

    std::shared_ptr<void> listen(std::function<void()> onSound) override;
    SoundHeard hear() override;
    bool rests() const override;

private:
    // How far it has come, in samples; once it is over and all is quiet, no further.
    std::uint64_t position() const;

    const Clock& clock_;
    const Sound sound_;
    const Times times_;
    const Seconds start_;
    SoundAnalysis analysis_;
    std::uint64_t analysed_ = 0, earlierBeats_ = 0; // samples; beats of analyses before this one
    std::shared_ptr<int> listeners_ = std::make_shared<int>(0);
};

} // namespace vitrel
