#pragma once

#include "platform/appkit/Surface.h"

#include <functional>
#include <memory>

namespace vitrel {

// A window of a display server that a saver's frames are shown in. It tells what happens to it from the turns of a run
// loop; the callbacks may destroy it. Main thread.
class HostWindow
{
public:
    virtual ~HostWindow() = default;

    // Pixels.
    std::function<void(int width, int height)> onResized;
    // Once: the user closed it, its owner destroyed it, its display or the server has gone.
    std::function<void()> onClosed;
    // Once: a key, a button, or a pointer that went more than 10 pixels from where it was first seen. Only of a window
    // that covers a display.
    std::function<void()> onDismissed;

    virtual int width() const = 0;
    virtual int height() const = 0;
    // False while nobody can see it.
    virtual bool isVisible() const = 0;
    // Takes a window of our own off the screen at once, with what it has grabbed and hidden. It is over then; nothing
    // more is told.
    virtual void leave() = 0;
    // What draws in it. The surface may outlive the window, and is closed then.
    virtual std::unique_ptr<Surface> makeSurface() = 0;
};

} // namespace vitrel
