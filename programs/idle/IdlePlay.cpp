#include "programs/idle/IdlePlay.h"

#include <algorithm>
#include <utility>

namespace vitrel {

namespace {

constexpr Seconds kFirstPause{1}, kLongestPause{60};
// A player that has run for so long is a sound one.
constexpr Seconds kSound{60};

} // namespace

IdlePlay::IdlePlay(RunLoop& loop, IdlePlayer& player)
    : loop_(loop)
    , player_(player)
    , pause_(kFirstPause)
{
    player_.onEnded = [this](int status) { ended(status); };
}

IdlePlay::~IdlePlay()
{
    player_.onEnded = nullptr;
}

void IdlePlay::becameIdle()
{
    idle_ = true;
    consider();
}

void IdlePlay::becameActive()
{
    idle_ = false;
    pause_ = kFirstPause;
}

void IdlePlay::setHold(Hold hold, bool held)
{
    if (held)
        holds_.insert(hold);
    else
        holds_.erase(hold);
    consider();
}

void IdlePlay::consider()
{
    if (running_) {
        if (!holds_.empty() && !std::exchange(stopping_, true))
            player_.stop();
        return;
    }
    if (!idle_ || !holds_.empty() || pausing_ || done_)
        return;
    started_ = loop_.clock().now();
    stopping_ = false;
    running_ = true;
    if (!player_.start())
        ended(1);
}

void IdlePlay::ended(int status)
{
    if (!std::exchange(running_, false))
        return;
    if (const auto done = std::exchange(done_, nullptr)) {
        idle_ = false;
        loop_.post(done);
        return;
    }
    if (stopping_) {
        consider(); // what held it back may be over already
        return;
    }
    if (status == 0) {
        idle_ = false; // dismissed: whoever did it is back
        return;
    }
    if (loop_.clock().now() - started_ >= kSound)
        pause_ = kFirstPause;
    pausing_ = true;
    loop_.postAfter(pause_, [this, alive = std::weak_ptr(alive_)] {
        if (!alive.lock())
            return;
        pausing_ = false;
        consider();
    });
    pause_ = std::min(pause_ * 2, kLongestPause);
}

void IdlePlay::finish(std::function<void()> done)
{
    if (!running_) {
        idle_ = false;
        loop_.post(std::move(done));
        return;
    }
    done_ = std::move(done);
    if (!std::exchange(stopping_, true))
        player_.stop();
}

} // namespace vitrel
