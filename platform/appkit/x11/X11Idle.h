#pragma once

#include "platform/appkit/x11/X11Connection.h"

#include <functional>
#include <memory>

namespace vitrel {

// Hears from an X server that the user has gone and come back: its own screen saver timer, with the server's blanking
// left out. The server keeps it from running out for programs that ask so. It is a setting of the whole server, so the
// former one is restored at the end. Nothing wakes up here meanwhile. Main thread.
class X11Idle
{
public:
    // Idle is who has given no input for `timeout`, in whole seconds up to nine hours. Null without the server's
    // extension MIT-SCREEN-SAVER.
    static std::unique_ptr<X11Idle> make(std::shared_ptr<X11Connection> connection, Seconds timeout);
    ~X11Idle();
    X11Idle(const X11Idle&) = delete;
    X11Idle& operator=(const X11Idle&) = delete;

    // From a turn of the connection's loop, in turns.
    std::function<void()> onIdle, onResumed;

    static bool isThere(const X11Connection& connection) { return connection.extensions().saver >= 0; }
    // Whether another program has made itself the server's saver, as lockers do that wait for its timer.
    static bool isTaken(X11Connection& connection);

private:
    struct Settings {
        int timeout = 0, interval = 0, preferBlanking = 0, allowExposures = 0;
    };
    explicit X11Idle(std::shared_ptr<X11Connection> connection)
        : connection_(std::move(connection))
    { }
    void handle(const void* event);

    std::shared_ptr<X11Connection> connection_;
    Settings before_;
    int listener_ = 0;
    bool idle_ = false;
};

// Whether the window that the user works in fills the screen, as its window manager says. Main thread.
class X11FullScreen
{
public:
    explicit X11FullScreen(std::shared_ptr<X11Connection> connection);
    ~X11FullScreen();
    X11FullScreen(const X11FullScreen&) = delete;
    X11FullScreen& operator=(const X11FullScreen&) = delete;

    bool isFullScreen() const { return fullScreen_; }
    // From a turn of the connection's loop.
    std::function<void(bool)> onChanged;

private:
    void look();
    void lookAtWindow();

    std::shared_ptr<X11Connection> connection_;
    unsigned long active_ = 0;
    int rootListener_ = 0, listener_ = 0;
    bool fullScreen_ = false;
};

} // namespace vitrel
