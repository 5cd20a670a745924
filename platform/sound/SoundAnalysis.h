#pragma once

#include "platform/sound/OnsetDetector.h"
#include "platform/sound/SoundInput.h"
#include "platform/sound/Spectrum.h"

#include <cstdint>
#include <span>
#include <vector>

namespace vitrel {

// Sound into what compositions hear of it. It goes by hops of 11.6 ms of the sound itself, so how often somebody looks
// changes nothing. Levels are those of the last 46 ms, without attack and decay: whoever shows them adds their own.
class SoundAnalysis
{
public:
    // Samples per second, kLeastSoundRate to kMostSoundRate.
    explicit SoundAnalysis(unsigned rate);

    // What comes next, as much as there is; finite.
    void take(std::span<const float> samples);
    // At the last sample taken. The levels are of the last whole hop, the time since a beat is exact.
    SoundHeard heard() const;

    std::size_t hop() const { return hop_; }
    std::size_t windowSize() const { return window_.size(); }
    unsigned rate() const { return rate_; }

private:
    void step();
    void measureBands(std::span<const float> powers, bool begins);

    unsigned rate_;
    std::size_t hop_;
    double hopTime_; // seconds
    Spectrum spectrum_;
    std::vector<Band> bands_;
    OnsetDetector onsets_;
    std::vector<float> window_; // the last samples, ahead of the place for those of the next hop
    std::size_t filled_ = 0; // of that place
    std::uint64_t taken_ = 0, beatAt_ = 0; // in samples
    double peakReference_, loudest_; // what counts as full: an amplitude, and a level in dB
    double sounding_ = 0; // seconds since a silence
    SoundHeard heard_;
};

} // namespace vitrel
