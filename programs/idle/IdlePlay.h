#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>
#include <set>

namespace vitrel {

// The process that plays. Main thread.
class IdlePlayer
{
public:
    virtual ~IdlePlayer() = default;
    // False if it can't be started. Its end is told by onEnded, from a later turn.
    virtual bool start() = 0;
    // Asks it to end.
    virtual void stop() = 0;
    // `status`: the exit status, or the negative number of the signal that ended it.
    std::function<void(int status)> onEnded;
};

// What keeps an idle desktop from being played on.
enum class Hold {
    application, // wants the screen left alone: a film, a talk
    fullScreen, // a window fills the screen
    locked, // the locker has it
    asleep, // the machine is about to sleep
    battery,
};

// Plays while the desktop is idle and nothing holds it back. Once it plays, it is the player that tells a returning
// user from a nudged table, so activity alone ends nothing; what was dismissed comes back with the next idle time, what
// crashed after a second, then after longer and longer. Main thread.
class IdlePlay
{
public:
    IdlePlay(RunLoop& loop, IdlePlayer& player);
    ~IdlePlay();
    IdlePlay(const IdlePlay&) = delete;
    IdlePlay& operator=(const IdlePlay&) = delete;

    void becameIdle();
    void becameActive();
    void setHold(Hold hold, bool held);
    // Ends the play; `done` is called in a turn once it has ended, at once if there is none.
    void finish(std::function<void()> done);

    bool isIdle() const { return idle_; }
    bool isPlaying() const { return running_; }

private:
    void consider();
    void ended(int status);

    RunLoop& loop_;
    IdlePlayer& player_;
    std::set<Hold> holds_;
    bool idle_ = false, running_ = false, stopping_ = false, pausing_ = false;
    Seconds started_{0}, pause_;
    std::function<void()> done_;
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

} // namespace vitrel
