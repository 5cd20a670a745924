#include "platform/sound/Spectrum.h"

#include <kiss_fftr.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vitrel {
namespace {

static_assert(sizeof(kiss_fft_cpx) == sizeof(std::complex<float>)); // both a real and an imaginary part

constexpr double kWindow = 2048 / 44100.0; // seconds

// A length that the transform is quick with, and even.
std::size_t windowSizeAt(unsigned rate)
{
    return std::size_t(kiss_fftr_next_fast_size_real(int(std::ceil(rate * kWindow - 1e-9))));
}

} // namespace

void Spectrum::Free::operator()(kiss_fftr_state* plan) const
{
    kiss_fftr_free(plan);
}

Spectrum::Spectrum(unsigned rate)
    : window_(windowSizeAt(rate))
    , windowed_(window_.size())
    , powers_(window_.size() / 2 + 1)
    , transformed_(powers_.size())
    , binWidth_(double(rate) / double(window_.size()))
    , plan_(kiss_fftr_alloc(int(window_.size()), 0, nullptr, nullptr))
{
    double sum = 0;
    for (std::size_t k = 0; k < window_.size(); ++k) {
        window_[k] = float(0.5 - 0.5 * std::cos(2 * std::numbers::pi * double(k) / double(window_.size())));
        sum += window_[k];
    }
    scale_ = float(4 / (sum * sum) / 1.5); // 1.5: a sine is in three bins with this window
}

std::span<const float> Spectrum::powersOf(std::span<const float> samples)
{
    for (std::size_t k = 0; k < window_.size(); ++k)
        windowed_[k] = samples[k] * window_[k];
    kiss_fftr(plan_.get(), windowed_.data(), reinterpret_cast<kiss_fft_cpx*>(transformed_.data()));
    for (std::size_t k = 0; k < powers_.size(); ++k)
        powers_[k] = scale_ * std::norm(transformed_[k]);
    return powers_;
}

Band::Band(double from, double to, double binWidth, std::size_t bins)
{
    // A bin reaches half its width to either side of its frequency.
    const double begin = std::clamp(from / binWidth + 0.5, 0.0, double(bins)),
                 end = std::clamp(to / binWidth + 0.5, 0.0, double(bins));
    bins_ = end - begin;
    if (bins_ <= 0)
        return;
    first_ = std::size_t(begin);
    end_ = std::size_t(std::ceil(end));
    firstShare_ = double(first_ + 1) - begin;
    lastShare_ = 1 - (double(end_) - end);
    if (end_ == first_ + 1)
        firstShare_ = bins_;
}

double Band::powerIn(std::span<const float> powers) const
{
    if (bins_ <= 0)
        return 0;
    double sum = firstShare_ * powers[first_];
    if (end_ > first_ + 1)
        sum += lastShare_ * powers[end_ - 1];
    for (std::size_t k = first_ + 1; k + 1 < end_; ++k)
        sum += powers[k];
    return sum;
}

} // namespace vitrel
