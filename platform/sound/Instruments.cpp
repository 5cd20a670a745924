#include "platform/sound/Instruments.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace vitrel {
namespace {

constexpr double kInaudible = 7; // time constants

} // namespace

Instruments::Instruments(double seconds, unsigned rate)
    : rate_(rate)
    , samples_(std::size_t(std::lround(seconds * rate)))
{ }

double Instruments::chance()
{
    // Knuth's generator of 64 bits.
    random_ = random_ * 6364136223846793005U + 1442695040888963407U;
    return double(random_ >> 40) / double(1 << 23) - 1;
}

// Adds what `next` gives, one call a sample.
template <class Next> void Instruments::mix(double at, double seconds, Next next)
{
    std::size_t place = std::size_t(std::lround(at * rate_)) % samples_.size();
    for (auto left = std::size_t(seconds * rate_); left > 0; --left) {
        samples_[place] += float(next());
        if (++place == samples_.size())
            place = 0;
    }
}

void Instruments::kick(double at, double level)
{
    // A membrane: its pitch falls while it dies.
    double phase = 0, time = 0;
    const double step = 1.0 / rate_;
    mix(at, 0.4, [&] {
        phase += 2 * std::numbers::pi * step * (48 + 110 * std::exp(-time / 0.03));
        time += step;
        return level * std::sin(phase) * std::min(time / 0.001, 1.0) * std::exp(-time / 0.1)
            * std::min((0.4 - time) / 0.05, 1.0);
    });
}

void Instruments::hat(double at, double level, double seconds)
{
    double amplitude = level, last = 0, lastButOne = 0;
    const double fall = std::exp(-1 / (seconds * rate_));
    mix(at, seconds * kInaudible, [&] {
        const double now = chance(), high = (now - 2 * last + lastButOne) / 4; // nothing of what is low
        lastButOne = last;
        last = now;
        amplitude *= fall;
        return amplitude * high;
    });
}

void Instruments::tone(double at, const Tone& tone)
{
    for (std::size_t k = 0; k < tone.partials.size(); ++k) {
        const double number = double(k + 1), sharp = std::sqrt(1 + tone.stretch * number * number),
                     turn = 2 * std::numbers::pi * tone.frequency * number * sharp / rate_;
        if (turn >= std::numbers::pi)
            break;
        // A pointer that turns is quicker than a sine a sample.
        const std::complex<double> step = std::polar(1.0, turn);
        std::complex<double> pointer = std::polar(tone.level * tone.partials[k], number);
        const double rise = 1 / std::max(tone.attack * rate_, 1.0),
                     fall = std::exp(-std::sqrt(number) / (tone.decay * rate_));
        double envelope = 0, held = (tone.attack + tone.held) * rate_;
        mix(at, tone.attack + tone.held + tone.decay * kInaudible / std::sqrt(number), [&] {
            pointer = {pointer.real() * step.real() - pointer.imag() * step.imag(),
                pointer.real() * step.imag() + pointer.imag() * step.real()};
            envelope = --held > 0 ? std::min(envelope + rise, 1.0) : envelope * fall;
            return envelope * pointer.imag();
        });
    }
}

void Instruments::noise(double at, double level, double decay, double from, double to)
{
    double amplitude = level, low = 0, high = 0;
    const double fall = std::exp(-1 / (decay * rate_)), lowStep = 1 - std::exp(-2 * std::numbers::pi * from / rate_),
                 highStep = 1 - std::exp(-2 * std::numbers::pi * to / rate_);
    mix(at, decay * kInaudible, [&] {
        const double now = chance();
        high += highStep * (now - high);
        low += lowStep * (high - low);
        amplitude *= fall;
        return amplitude * (high - low);
    });
}

} // namespace vitrel
