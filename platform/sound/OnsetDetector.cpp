#include "platform/sound/OnsetDetector.h"

#include <algorithm>
#include <cmath>

namespace vitrel {
namespace {

// Above is what rattles and hisses between the beats.
constexpr double kLowest = 32, kHighest = 4500; // Hz
constexpr double kBandsPerOctave = 6;
// What is this much below the loudest band of late, as a ratio of powers, is of no account.
constexpr double kOfAccount = 1e-4, kLoudestDown = 3; // seconds
constexpr double kLeastPower = 1e-11;
// Nothing is struck twice within this time.
constexpr double kApart = 0.1; // seconds
// Standard deviations from which on a rise counts, and most that a band gives.
constexpr double kNoted = 1, kMost = 6;
// The least deviation, for sounds that tremble: 1.3 dB.
constexpr double kLeastDeviation = 0.4;
constexpr double kEvidence = 11;
// What isn't as clear as this part of what the piece's own onsets are is an ornament.
constexpr double kPartOfUsual = 0.06, kUsualShare = 0.3, kUsualDown = 4; // seconds

} // namespace

OnsetDetector::OnsetDetector(double hopTime, double binWidth, std::size_t bins)
    : hopTime_(hopTime)
{
    for (double from = kLowest, to = from; from < kHighest && from < binWidth * double(bins); from = to) {
        to = std::max(from + binWidth, from * std::exp2(1 / kBandsPerOctave));
        const Band band(from, to, binWidth, bins);
        // A power of noise in n independent bins has a deviation of 1/sqrt(n); the window makes 1.5 bins of each.
        rows_.push_back({band, std::max(1 / std::sqrt(std::max(band.bins() / 1.5, 1.0)), kLeastDeviation)});
    }
    past_.assign(kPast, std::vector<double>(rows_.size(), std::log(kLeastPower)));
}

bool OnsetDetector::take(std::span<const float> powers)
{
    std::vector<double>& now = past_[next_ % kPast];
    double loudest = 0;
    std::vector<double> next(rows_.size());
    for (std::size_t k = 0; k < rows_.size(); ++k) {
        next[k] = rows_[k].band.powerIn(powers);
        loudest = std::max(loudest, next[k]);
    }
    loudest_ = std::max(loudest, loudest_ * std::exp(-hopTime_ / kLoudestDown));
    for (double& power : next)
        power = std::log(power + kLeastPower + loudest_ * kOfAccount);
    evidence_ = evidenceOf(next);
    now = std::move(next);
    ++next_;
    known_ = std::min(known_ + 1, kPast);

    sinceOnset_ += hopTime_;
    usual_ *= std::exp(-hopTime_ / kUsualDown);
    const double enough = std::max(kEvidence, usual_ * kPartOfUsual);
    if (evidence_ < enough / 2)
        isArmed_ = true;
    if (known_ < kPast || !isArmed_ || sinceOnset_ < kApart || evidence_ < enough)
        return false;
    isArmed_ = false;
    sinceOnset_ = 0;
    usual_ += kUsualShare * (evidence_ - usual_);
    return true;
}

void OnsetDetector::takeSilence()
{
    std::fill(past_[next_ % kPast].begin(), past_[next_ % kPast].end(), std::log(kLeastPower + loudest_ * kOfAccount));
    ++next_;
    known_ = std::min(known_ + 1, kPast);
    sinceOnset_ += hopTime_;
    evidence_ = 0;
    isArmed_ = true;
}

double OnsetDetector::evidenceOf(const std::vector<double>& now) const
{
    // Not the last window, which shares most of its samples with this one.
    std::vector<double> before = past_[(next_ + kPast - 2) % kPast];
    for (std::size_t ago = 3; ago < kPast; ++ago)
        for (std::size_t k = 0; k < before.size(); ++k)
            before[k] = std::max(before[k], past_[(next_ + kPast - ago) % kPast][k]);
    double sum = 0;
    for (std::size_t k = 0; k < rows_.size(); ++k) {
        // What glides from a band into the next one isn't struck.
        const double most = std::max({before[k], before[k > 0 ? k - 1 : 0], before[std::min(k + 1, rows_.size() - 1)]});
        const double rise = (now[k] - most) / rows_[k].deviation - kNoted;
        if (rise > 0)
            sum += std::pow(std::min(rise, kMost), 2);
    }
    return sum;
}

} // namespace vitrel
