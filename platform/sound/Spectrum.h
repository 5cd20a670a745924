#pragma once

#include <complex>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

struct kiss_fftr_state;

namespace vitrel {

// Powers of frequencies in a window of samples (Hann), as long as 2048 of them at 44.1 kHz: bins of 21.5 Hz tell apart
// what is lowest, and half of it, 23 ms, is how late it shows a hit.
class Spectrum
{
public:
    // Samples per second, kLeastSoundRate to kMostSoundRate.
    explicit Spectrum(unsigned rate);

    std::size_t windowSize() const { return window_.size(); }
    double binWidth() const { return binWidth_; } // Hz
    // From 0 Hz to half the rate. A sine of full scale sums to 1. Valid until the next call. `samples` are
    // windowSize().
    std::span<const float> powersOf(std::span<const float> samples);

private:
    struct Free {
        void operator()(kiss_fftr_state* plan) const;
    };

    std::vector<float> window_, windowed_, powers_;
    std::vector<std::complex<float>> transformed_;
    double binWidth_;
    float scale_;
    std::unique_ptr<kiss_fftr_state, Free> plan_;
};

// The sum of powers between two frequencies. Of a bin at an edge the part within counts, so that narrow bands have no
// holes between them and no steps.
class Band
{
public:
    // Bins of `binWidth`, `bins` of them.
    Band(double from, double to, double binWidth, std::size_t bins);
    double powerIn(std::span<const float> powers) const;
    double bins() const { return bins_; }

private:
    std::size_t first_ = 0, end_ = 0;
    double firstShare_ = 0, lastShare_ = 0;
    double bins_ = 0;
};

} // namespace vitrel
