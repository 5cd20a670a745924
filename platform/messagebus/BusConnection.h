#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>

namespace sdbus {
class IConnection;
}

namespace vitrel {

class BusProbe;

// A connection to a message bus whose messages are dealt out in the turns of a run loop; nothing blocks but the
// connecting, and that only to a bus that has given a sign of life. Without a bus, or when it dies, a new connection is
// tried after a while. Main thread. It is held by shared pointers, and by itself during a turn, so that a callback may
// let go of it.
class BusConnection : public std::enable_shared_from_this<BusConnection>
{
public:
    enum class Kind { session, system };
    // How long after a failure the next connection is tried: `first`, and twice as long each time up to `longest`.
    struct Retry {
        Seconds first{5}, longest{5};
    };

    // Whether the bus answers, for who wants to ask it one question and can wait a second. True if only connecting
    // tells.
    static bool answers(Kind kind);

    BusConnection(RunLoop& loop, Kind kind, Retry retry);
    virtual ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    // To a bus that answers the connection is there at once.
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
    void answered(bool answers);
    void connect();
    void process();
    void lost();
    void drop();

    RunLoop& loop_;
    const Kind kind_;
    const Retry retry_;
    Seconds pause_;
    std::unique_ptr<BusProbe> probe_;
    std::unique_ptr<sdbus::IConnection> bus_;
    int watched_ = -1;
    short watchedEvents_ = 0;
    bool closed_ = false;
    std::shared_ptr<NSTimer> timer_;
};

} // namespace vitrel
