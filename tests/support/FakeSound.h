#pragma once

#include "platform/sound/SoundInput.h"

#include <utility>

namespace vitrel {

// Sound in the test's hand. Without a listener it gives nothing.
struct FakeSound final : SoundInput {
    std::shared_ptr<void> listen(std::function<void()> onSound) override
    {
        ++listeners;
        told = std::move(onSound);
        return std::shared_ptr<void>(&listeners, [this](int*) {
            --listeners;
            told = nullptr;
        });
    }
    SoundHeard hear() override
    {
        ++looks;
        return listeners > 0 ? heard : SoundHeard{};
    }
    bool rests() const override { return heard == SoundHeard{} || listeners == 0; }
    // Sound begins, or goes on as something else.
    void play(double peak, double firstBand)
    {
        const bool begins = rests();
        heard.peak = peak;
        heard.spectrum[0] = firstBand;
        if (begins && told)
            told();
    }
    void fall() { heard = {}; }

    SoundHeard heard;
    int listeners = 0, looks = 0;
    std::function<void()> told;
};

} // namespace vitrel
