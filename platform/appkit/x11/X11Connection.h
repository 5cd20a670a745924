#pragma once

#include "platform/appkit/x11/DisplayPower.h"
#include "platform/foundation/RunLoop.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace vitrel {

// A connection to an X server whose events are dealt out in the turns of a run loop. A window that is gone and a
// server that is gone are told, and end nothing: Xlib's own handlers would end the process. Main thread.
class X11Connection : public std::enable_shared_from_this<X11Connection>
{
public:
    // `displayName` as in DISPLAY, empty for what DISPLAY says. Null if no server answers. The loop outlives the
    // connection.
    static std::shared_ptr<X11Connection> open(RunLoop& loop, const std::string& displayName = {});
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    // False once the server has gone. No call of Xlib may follow.
    bool isAlive() const { return alive_; }
    // Called once, from a turn, when the server has gone; every window is told that it is closed before that.
    std::function<void()> onLost;
    // Called from a turn when monitors have come, gone or changed.
    std::function<void()> onScreensChanged;

    RunLoop& loop() const { return loop_; }
    void* display() const { return display_; } // Display*
    unsigned long rootWindow() const { return root_; }
    // Whether the monitors are switched off to save power, looked up at most every two seconds; four times in one while
    // they are, so that they show something as soon as they are back.
    bool isPoweredOff();
    // Who is asked. Null: they count as being on.
    void setPower(std::unique_ptr<DisplayPower> power) { power_ = std::move(power); }

    // For the classes of this folder. `handler` gets each event (XEvent) of the window, and null once the window is
    // known to be gone; events of extensions that aren't a window's come under window 0. Gives the listener's number.
    int listen(unsigned long window, std::function<void(const void* event)> handler);
    void unlisten(int listener);
    // Events of the root window that are wanted besides those wanted before (an event mask).
    void selectOnRoot(long events);
    // Sends what was asked, and sees to it that events which came with an answer are dealt out in the next turn.
    void flush();
    // Event and error numbers of extensions; -1 without the extension.
    struct Extensions {
        int shmCompletion = -1, randr = -1, input = -1, saver = -1;
        bool fixes = false;
    };
    const Extensions& extensions() const { return extensions_; }
    // Errors of the protocol since the connection was made, each of which was recorded and passed over.
    unsigned errors() const { return errors_; }

private:
    struct Handlers;
    friend struct Handlers;
    struct Listener {
        unsigned long window;
        std::shared_ptr<std::function<void(const void*)>> handler;
    };

    explicit X11Connection(RunLoop& loop);
    bool connect(const std::string& displayName);
    void findExtensions();
    void dispatch();
    void dispatchDead();
    void deliver(unsigned long window, const void* event);

    RunLoop& loop_;
    void* display_ = nullptr;
    unsigned long root_ = 0;
    int descriptor_ = -1;
    long rootEvents_ = 0;
    bool alive_ = false, lost_ = false, posted_ = false, poweredOff_ = false;
    std::unique_ptr<DisplayPower> power_;
    Seconds powerLooked_{-1e9};
    Extensions extensions_;
    unsigned errors_ = 0;
    std::vector<unsigned long> dead_; // windows that an error named
    std::map<int, Listener> listeners_;
    int nextListener_ = 1;
};

} // namespace vitrel
