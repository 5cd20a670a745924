#pragma once

#include "platform/sound/Spectrum.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace vitrel {

// Where something is struck: a drum, a string, a chord. It asks in each of some forty bands by how many standard
// deviations of noise, of which as wide a band has known ones, its power is above all of the last 80 ms. Noise never
// rises in many bands at once, a drum in all, a string in those of its partials.
class OnsetDetector
{
public:
    // The time between two calls in seconds; of bins, their width in Hz and their number.
    OnsetDetector(double hopTime, double binWidth, std::size_t bins);

    // The powers of the next window. True if something was struck.
    bool take(std::span<const float> powers);
    // The next window is silent.
    void takeSilence();

    // How surely the last window has an onset: 0 for not at all. For tuning.
    double evidence() const { return evidence_; }

private:
    struct Row {
        Band band;
        double deviation; // of the power's logarithm in noise
    };
    static constexpr std::size_t kPast = 8; // windows

    double evidenceOf(const std::vector<double>& now) const;

    double hopTime_;
    std::vector<Row> rows_;
    std::vector<std::vector<double>> past_; // logarithms of powers, the last one at `next_` - 1
    std::size_t next_ = 0, known_ = 0;
    double loudest_ = 0; // of recent powers of bands
    double evidence_ = 0, usual_ = 0; // of recent onsets
    double sinceOnset_ = 1; // seconds
    bool isArmed_ = true;
};

} // namespace vitrel
