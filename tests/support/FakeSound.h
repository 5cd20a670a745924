#pragma once

#include "platform/sound/SoundInput.h"

#include <utility>

namespace vitrel {

// Sound in the test's hand.
struct FakeSound final : SoundInput {
    std::shared_ptr<void> listen(std::function<void()> onSound) override
    {
        ++listeners;
        told = std::move(onSound);
        return std::shared_ptr<void>(this, [this](void*) { --listeners; });
    }
    SoundHeard hear() override
    {
        ++looks;
        return heard;
    }
    bool rests() const override { return heard == SoundHeard{}; }

    SoundHeard heard;
    int listeners = 0, looks = 0;
    std::function<void()> told;
};

} // namespace vitrel
