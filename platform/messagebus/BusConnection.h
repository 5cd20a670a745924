#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>

namespace sdbus {
class IConnection;
}

namespace vitrel {

// A connection to a message bus whose messages are dealt out in the turns of a run loop; nothing blocks but the
// connecting. Without a bus, or when it dies, a new connection is tried after a while. Main thread. It is held by
// shared pointers, and by itself during a turn, so that a callback may let go of it.
class BusConnection : public std::enable_shared_from_this<BusConnection>
{
public:
    enum class Kind { session, system };
    // How long after a failure the next connection is tried: `first`, and twice as long each time up to `longest`.
    struct Retry {
        Seconds first{5}, longest{5};
    };

    BusConnection(RunLoop& loop, Kind kind, Retry retry);
    virtual ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    void open();
    // For good. The most derived class's destructor must have called it.
    void close();
    bool isOpen() const { return bus_ != nullptr; }
    // To be called after anything was asked or said outside the callbacks, so that it is sent and answers are awaited.
    void arm();

protected:
    // A new connection. What it throws as sdbus::Error counts as a failure to connect.
    virtual void opened(sdbus::IConnection&) = 0;
    // The connection goes, and with it the ground under the objects and proxies made on it: they must be destroyed now.
    virtual void closing() = 0;
    RunLoop& loop() const { return loop_; }

private:
    void process();
    void lost();
    void drop();

    RunLoop& loop_;
    const Kind kind_;
    const Retry retry_;
    Seconds pause_;
    std::unique_ptr<sdbus::IConnection> bus_;
    int watched_ = -1;
    short watchedEvents_ = 0;
    bool closed_ = false;
    std::shared_ptr<NSTimer> timer_;
};

} // namespace vitrel
