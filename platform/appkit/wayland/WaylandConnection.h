#pragma once

#include "platform/appkit/wayland/WaylandOutput.h"
#include "platform/foundation/RunLoop.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

struct WaylandWire;
class WaylandListener;

// A connection to a Wayland compositor whose events are dealt out in the turns of a run loop. Nothing waits for the
// compositor but `open` and a window's first size, both within limits; a compositor that goes away is told and ends
// nothing. Main thread.
class WaylandConnection : public std::enable_shared_from_this<WaylandConnection>
{
public:
    // Whether WAYLAND_DISPLAY is set and somebody listens there.
    static bool isThere();
    // `name` as in WAYLAND_DISPLAY, empty for what that says. Null if no compositor answers. The loop outlives the
    // connection.
    static std::shared_ptr<WaylandConnection> open(RunLoop& loop, const std::string& name = {});
    ~WaylandConnection();
    WaylandConnection(const WaylandConnection&) = delete;
    WaylandConnection& operator=(const WaylandConnection&) = delete;

    // False once the compositor has gone, or has refused what we sent.
    bool isAlive() const { return alive_; }
    // Called once, from a turn, when the compositor has gone; every window is told that it is closed before that.
    std::function<void()> onLost;
    // Called from a turn when outputs have come, gone or changed.
    std::function<void()> onOutputsChanged;

    RunLoop& loop() const { return loop_; }
    // The outputs as they are now, in the compositor's order. Empty if it has none, or has gone.
    std::vector<WaylandOutput> outputs() const;

    // The versions of what the compositor offers of that which is used here; 0 is none.
    struct Protocols {
        unsigned compositor = 0, sharedMemory = 0, layerShell = 0, shell = 0, seats = 0, idleNotifier = 0, kdeIdle = 0;
    };
    const Protocols& protocols() const { return protocols_; }
    // What a window would need, one that covers an output or any other, and the compositor lacks, by its names:
    // "wl_shm, xdg_wm_base". Empty if nothing.
    std::string missing(bool toCover) const;

    // For the classes of this folder.
    WaylandWire& wire() { return *wire_; }
    void listen(void* surface, WaylandListener* listener);
    void unlisten(void* surface);
    // Null if nobody listens there.
    WaylandListener* listenerOf(void* surface) const;
    // Sends what was asked; what doesn't fit goes when the compositor reads again.
    void flush();
    // Deals out events until `done`, also outside the turns. False if it isn't within `limit`.
    bool waitUntil(const std::function<bool()>& done, Seconds limit);
    void outputsHaveChanged();

private:
    explicit WaylandConnection(RunLoop& loop);
    bool connect(const std::string& name);
    bool waitForAnswer();
    void addGlobal(std::uint32_t global, const char* interface, std::uint32_t version);
    void removeGlobal(std::uint32_t global);
    void watch(bool forRoom);
    void dispatch();
    bool readEvents();
    void becomeLost();
    void tellLoss();
    void tellOutputs();
    void deferred(void (WaylandConnection::*what)());

    RunLoop& loop_;
    std::unique_ptr<WaylandWire> wire_;
    Protocols protocols_;
    int descriptor_ = -1;
    bool alive_ = false, watchingForRoom_ = false, outputsPending_ = false;
    std::map<void*, WaylandListener*> listeners_;
};

} // namespace vitrel
