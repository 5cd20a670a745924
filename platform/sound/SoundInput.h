#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>

namespace vitrel {

// What a moment sounds like. Levels are 0 to 1, by a gain of their own, so that quiet listeners see as much.
struct SoundHeard {
    double peak = 0;
    std::array<double, 16> spectrum{}; // low to high, 40 Hz to 16 kHz, each band 400^(1/16) times as wide as the last
    std::uint64_t beats = 0; // onsets since the listening began
    double sinceBeat = std::numeric_limits<double>::infinity(); // seconds since the last one

    bool operator==(const SoundHeard&) const = default;
};

// Where compositions hear from: what the desktop plays, a file, a demonstration. Main thread.
class SoundInput
{
public:
    virtual ~SoundInput() = default;

    // Listens for as long as somebody holds what is given; without that nothing is connected. `onSound` is called when
    // sound begins after a rest; not from within this call.
    [[nodiscard]] virtual std::shared_ptr<void> listen(std::function<void()> onSound) = 0;
    // What is heard now. Zeros if nobody listens and for whatever can't be heard.
    virtual SoundHeard hear() = 0;
    // Nothing plays and all levels have come down to 0: what `hear` gives stays until `onSound`.
    virtual bool rests() const = 0;
};

} // namespace vitrel
