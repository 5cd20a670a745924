#pragma once

#include "base/Clock.h"
#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>
#include <string>

namespace vitrel {

// What tells that the user has gone and come back. Nothing wakes up in between. Main thread.
class IdleSource
{
public:
    virtual ~IdleSource() = default;
    // From a turn, in turns.
    std::function<void()> onIdle, onActive;
    // From a turn: whether the window that the user works in fills the screen, where that can be known.
    std::function<void(bool)> onFullScreen;
    // From a turn, once: the desktop has gone, and with it the reason to wait.
    std::function<void()> onLost;
};

struct IdleSourceChoice {
    std::unique_ptr<IdleSource> source; // null if there is none
    std::string name; // what it is, for people: "org_kde_kwin_idle", "MIT-SCREEN-SAVER"
    std::string advice; // without a source, what is missing, in a line
};

// The best that this desktop has: its Wayland compositor's, else GNOME's on the session's bus, else the X server's.
IdleSourceChoice chooseIdleSource(RunLoop& loop, Seconds timeout);

} // namespace vitrel
