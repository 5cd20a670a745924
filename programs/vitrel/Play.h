#pragma once

#include "programs/vitrel/SaverHost.h"

#include <optional>

#include <sys/types.h>

#include <string>

namespace vitrel {

struct PlayOptions : SaverOptions {
    std::string window; // "1280x720": in an ordinary window
    std::string windowNumber; // in a window of another program
    bool root = false; // in the window that the screen saver daemon names, else the root window
    bool watch = false;
    bool noFade = false;
    std::optional<double> fade; // seconds; absent: as the user has chosen
    std::string monitors; // which displays; empty: as the user has chosen
    bool panel = false; // in a window with the published inputs as controls
    std::string display; // of the X server; empty: what the environment says

    // For the children of full-screen play.
    std::string monitor;
    bool wayland = false; // it is an output of the Wayland compositor
    pid_t supervisor = 0;
    Seconds fadeIn{0};
};

// The displays of a display server, and the news of them, for full-screen play. Main thread.
class DisplayList
{
public:
    virtual ~DisplayList() = default;
    virtual std::vector<std::string> names() = 0;
    std::function<void()> onChanged;
    std::function<void()> onLost; // once: the server has gone
};

// Plays in one window until somebody ends it. Gives the exit code, DisplayExit's for a child.
int playInWindow(const PlayOptions& options);
int playInWaylandWindow(const PlayOptions& options);
// Plays on every display, each in a process of its own, until somebody ends it. Gives the exit code.
int playFullScreen(PlayOptions options);

// Whether a Wayland compositor runs here.
bool isOnWayland();
// Its outputs. Null, with a line said, if there is none that windows can be shown on.
std::unique_ptr<DisplayList> waylandDisplays(RunLoop& loop);

// Says that no X server answers, and gives the exit code.
int complainOfDisplay();

} // namespace vitrel
