#pragma once

#include "programs/vitrel/SaverHost.h"

#include <sys/types.h>

#include <string>

namespace vitrel {

struct PlayOptions : SaverOptions {
    std::string window; // "1280x720": in an ordinary window
    std::string windowNumber; // in a window of another program
    bool root = false; // in the window that the screen saver daemon names, else the root window
    bool watch = false;
    bool noFade = false;
    std::string display; // of the X server; empty: what the environment says

    // For the children of full-screen play.
    std::string monitor;
    pid_t supervisor = 0;
    bool fadeIn = false;
};

// Plays in one window until somebody ends it. Gives the exit code, DisplayExit's for a child.
int playInWindow(const PlayOptions& options);
// Plays on every display, each in a process of its own, until somebody ends it. Gives the exit code.
int playFullScreen(const PlayOptions& options);

// Says that no X server answers, and gives the exit code.
int complainOfDisplay();

} // namespace vitrel
