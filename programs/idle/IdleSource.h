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

// Where idleness is told of on this desktop.
struct IdleSourceKind {
    std::string name; // for people: "org_kde_kwin_idle", "MIT-SCREEN-SAVER"; empty if it isn't
    std::string advice; // then, what is missing, in a line
};

// The best that this desktop has: its Wayland compositor's, else GNOME's on the session's bus, else the X server's.
// Asks, and changes nothing.
IdleSourceKind idleSourceHere(RunLoop& loop);
// The same, begun; null if there is none.
std::unique_ptr<IdleSource> beginIdleSource(RunLoop& loop, Seconds timeout);

} // namespace vitrel
