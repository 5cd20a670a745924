#pragma once

namespace vitrel {

// Samples per second within which sound is taken for sound.
constexpr unsigned kLeastSoundRate = 1'000, kMostSoundRate = 384'000;
// Beyond this in either direction a sample is no sample; full scale is 1, which players may pass.
constexpr float kLoudestSample = 16;
// Below it a sample is silence.
constexpr float kSilentSample = 1e-5F;

} // namespace vitrel
