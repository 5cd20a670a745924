#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace vitrel {

// A sheet of sound that instruments play on. What sounds on beyond its end does so at its beginning, so that it can be
// played in a loop. Nothing of it depends on chance: the same calls give the same samples.
class Instruments
{
public:
    Instruments(double seconds, unsigned rate);

    // At a time in seconds, with the amplitude `level`.
    void kick(double at, double level);
    void hat(double at, double level, double seconds);
    // A tone that is there within `attack` and then dies by the time constant `decay`, or is held for `held` before.
    struct Tone {
        double frequency, level, attack = 0.005, held = 0, decay = 0.3;
        std::vector<double> partials{1}; // amplitudes of the multiples of the frequency
        double stretch = 0; // by which strings' partials are sharp
    };
    void tone(double at, const Tone& tone);
    // Noise between two frequencies, roughly, that dies by `decay`.
    void noise(double at, double level, double decay, double from, double to);

    unsigned rate() const { return rate_; }
    std::vector<float>& samples() { return samples_; }

private:
    template <class Next> void mix(double at, double seconds, Next next);
    double chance(); // -1 to 1

    const unsigned rate_;
    std::vector<float> samples_;
    std::uint64_t random_ = 0x9E3779B97F4A7C15;
};

} // namespace vitrel
