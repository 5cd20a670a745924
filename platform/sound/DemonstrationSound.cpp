#include "platform/sound/Instruments.h"
#include "platform/sound/PlayedSound.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vitrel {
namespace {

constexpr unsigned kRate = 32'000;
constexpr double kBeat = 60.0 / 108; // seconds
constexpr int kBars = 4, kBeats = 4 * kBars;

double frequencyOf(int note) // as MIDI numbers them
{
    return 440 * std::exp2((note - 69) / 12.0);
}

void playDrums(Instruments& band)
{
    for (int beat = 0; beat < kBeats; ++beat) {
        const double at = beat * kBeat;
        band.kick(at, 0.5);
        if (beat % 2 == 1)
            band.noise(at, 0.35, 0.06, 400, 5000);
        band.hat(at + kBeat / 2, 0.2, 0.03);
        if (beat % 8 == 6)
            band.kick(at + kBeat * 0.75, 0.35);
        for (int sixteenth = 0; sixteenth < 4; ++sixteenth)
            band.hat(at + sixteenth * kBeat / 4, 0.07, 0.012);
    }
}

} // namespace

Sound demonstrationSound()
{
    // D minor, B flat, F, C: each chord leads back to the first.
    constexpr std::array<std::array<int, 5>, kBars> kChords{
        {{38, 62, 65, 69, 74}, {34, 62, 65, 70, 74}, {41, 60, 65, 69, 72}, {36, 60, 64, 67, 72}}};
    constexpr std::array kMelody{3, 4, 2, 3, 1, 3, 4, 2};
    Instruments band(kBeats * kBeat, kRate);
    playDrums(band);
    for (int bar = 0; bar < kBars; ++bar) {
        const auto& chord = kChords[std::size_t(bar)];
        const double at = bar * 4 * kBeat;
        for (const double eighth : {0.0, 1.5, 2.5, 3.5})
            band.tone(at + eighth * kBeat,
                {frequencyOf(chord[0]), 0.2, 0.008, kBeat * 0.4, 0.05, {1, 0.6, 0.35, 0.2, 0.1, 0.06}});
        for (std::size_t voice = 1; voice < chord.size(); ++voice)
            band.tone(at, {frequencyOf(chord[voice]), 0.035, 0.12, kBeat * 3, 0.25, {1, 0.5, 0.4, 0.2}});
        for (std::size_t k = 0; k < kMelody.size(); ++k)
            band.tone(at + double(k) * kBeat / 2,
                {frequencyOf(chord[std::size_t(kMelody[k])] + 12), 0.06, 0.003, 0, 0.18, {1, 0.4, 0.25, 0.12}});
    }
    float loudest = 0;
    for (const float sample : band.samples())
        loudest = std::max(loudest, std::abs(sample));
    for (float& sample : band.samples())
        sample *= 0.9F / loudest;
    return {std::move(band.samples()), kRate};
}

} // namespace vitrel
