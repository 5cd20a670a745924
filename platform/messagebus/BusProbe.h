#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vitrel {

// Whether a message bus answers. The library that connects waits a minute and a half for one that doesn't, on the
// caller's thread; so it is asked for its answer to the first line of a conversation beforehand. Main thread.
class BusProbe
{
public:
    // The path of the socket that an address leads to ("unix:path=/run/user/1000/bus"), with a leading zero byte for an
    // abstract one. Nothing for other ways to a bus, which can't be asked like this, and for no address.
    // (D-Bus specification, "Server Addresses" and "Authentication Protocol")
    static std::optional<std::string> socketOf(const std::string& address);

    // `patience`: how long the bus has.
    BusProbe(RunLoop& loop, const std::string& socket, Seconds patience);
    ~BusProbe();
    BusProbe(const BusProbe&) = delete;
    BusProbe& operator=(const BusProbe&) = delete;

    // Whether the bus answers; nothing as long as that is open. One that is well has done so already when the probe is
    // made.
    std::optional<bool> answer() const { return answer_; }
    // Where it was open: once, from a turn. May end this object.
    std::function<void(bool answers)> onAnswer;

private:
    void end(bool answers);

    RunLoop& loop_;
    int socket_ = -1;
    std::optional<bool> answer_;
    std::shared_ptr<NSTimer> timer_;
};

} // namespace vitrel
