#include "platform/sound/SoundAnalysis.h"

#include "platform/sound/SoundLimits.h"

#include <algorithm>
#include <cmath>

namespace vitrel {
namespace {

constexpr double kHop = 512 / 44100.0; // seconds

// Of a level in dB what is shown: the range below the loudest band, with what is above it as room for hits.
constexpr double kRange = 36, kRoom = 2, kNothing = -85;
// Music falls with the frequency; this is half of what would make pink noise rise as much.
constexpr double kTilt = 1.5; // dB per octave, about 1 kHz
// The gain follows the loudest band: at once while sound begins, then quickly up, slowly down.
constexpr double kQuietest = -62, kBeginning = 0.25, kUp = 0.3, kDown = 8;
constexpr double kSmallestPeak = 0.001;

double decibels(double power)
{
    return 10 * std::log10(power + 1e-30);
}

// From 40 Hz to 16 kHz, in equal steps of the logarithm.
double edgeOf(std::size_t band)
{
    return 40 * std::pow(400.0, double(band) / std::tuple_size_v<decltype(SoundHeard::spectrum)>);
}

} // namespace

SoundAnalysis::SoundAnalysis(unsigned rate)
    : rate_(rate)
    , hop_(std::size_t(std::lround(rate * kHop)))
    , hopTime_(double(hop_) / rate)
    , spectrum_(rate)
    , onsets_(hopTime_, spectrum_.binWidth(), spectrum_.windowSize() / 2 + 1)
    , window_(spectrum_.windowSize())
    , peakReference_(kSmallestPeak)
    , loudest_(kQuietest)
{
    for (std::size_t band = 0; band < heard_.spectrum.size(); ++band)
        bands_.emplace_back(edgeOf(band), edgeOf(band + 1), spectrum_.binWidth(), spectrum_.windowSize() / 2 + 1);
}

void SoundAnalysis::take(std::span<const float> samples)
{
    while (!samples.empty()) {
        const std::size_t count = std::min(samples.size(), hop_ - filled_);
        std::copy_n(samples.begin(), count, window_.end() - std::ptrdiff_t(hop_ - filled_));
        samples = samples.subspan(count);
        filled_ += count;
        taken_ += count;
        if (filled_ < hop_)
            continue;
        step();
        std::copy(window_.begin() + std::ptrdiff_t(hop_), window_.end(), window_.begin());
        filled_ = 0;
    }
}

SoundHeard SoundAnalysis::heard() const
{
    SoundHeard heard = heard_;
    if (heard.beats > 0)
        heard.sinceBeat = double(taken_ - beatAt_) / rate_;
    return heard;
}

void SoundAnalysis::step()
{
    float peak = 0;
    for (const float sample : window_)
        peak = std::max(peak, std::abs(sample));
    peakReference_ = std::max({double(peak), peakReference_ * std::exp(-hopTime_ / kDown), kSmallestPeak});
    if (peak < kSilentSample) {
        heard_.peak = 0;
        heard_.spectrum.fill(0);
        onsets_.takeSilence();
        sounding_ = 0;
        return;
    }
    heard_.peak = peak / peakReference_;
    const auto powers = spectrum_.powersOf(window_);
    sounding_ += hopTime_;
    measureBands(powers, sounding_ < kBeginning);
    if (onsets_.take(powers)) {
        ++heard_.beats;
        beatAt_ = taken_;
    }
}

void SoundAnalysis::measureBands(std::span<const float> powers, bool begins)
{
    std::array<double, std::tuple_size_v<decltype(heard_.spectrum)>> levels;
    for (std::size_t band = 0; band < levels.size(); ++band) {
        const double octaves = std::log2(std::sqrt(edgeOf(band) * edgeOf(band + 1)) / 1000);
        levels[band] = decibels(bands_[band].powerIn(powers)) + kTilt * octaves;
    }
    const double loudest = *std::max_element(levels.begin(), levels.end());
    if (begins && loudest > loudest_)
        loudest_ = loudest;
    loudest_ += (loudest - loudest_) * (1 - std::exp(-hopTime_ / (loudest > loudest_ ? kUp : kDown)));
    loudest_ = std::clamp(loudest_, kQuietest, 0.0);
    for (std::size_t band = 0; band < levels.size(); ++band) {
        const double share = std::clamp((levels[band] - (loudest_ + kRoom - kRange)) / kRange, 0.0, 1.0);
        heard_.spectrum[band] = levels[band] < kNothing ? 0 : std::pow(share, 1.5);
    }
}

} // namespace vitrel
