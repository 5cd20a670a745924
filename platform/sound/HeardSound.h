#pragma once

#include "base/Clock.h"
#include "platform/sound/SoundAnalysis.h"
#include "platform/sound/SoundInput.h"
#include "platform/sound/SoundRing.h"

#include <functional>
#include <memory>
#include <optional>

namespace vitrel {

// What another thread or process writes into a ring while it is wanted. Main thread.
class HeardSound final : public SoundInput
{
public:
    // `wanted` is told when the first listener comes and when the last one has gone. The clock outlives this; listeners
    // needn't be gone before.
    HeardSound(const Clock& clock, std::shared_ptr<const SoundRing> ring, std::function<void(bool wanted)> wanted);
    ~HeardSound() override;

    // Something plays now, or nothing does any more, as who writes says.
    void playing(bool playing);

    std::shared_ptr<void> listen(std::function<void()> onSound) override;
    SoundHeard hear() override;
    bool rests() const override;

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace vitrel
