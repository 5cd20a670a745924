#pragma once

#include "platform/foundation/Value.h"

#include <cstdint>
#include <string>

namespace vitrel {

// Told what happens on the bus. Names are those of the bus without the prefix that all players share, such as "mpv"
// or "chromium.instance12".
class PlayerBusListener
{
public:
    virtual ~PlayerBusListener() = default;
    // A player has answered for the first time. `process` is 0 if unknown.
    virtual void playerAppeared(const std::string& name, std::int64_t process, const Dictionary& properties) = 0;
    // Some of its properties have new values. What a player says may be of any kind.
    virtual void playerChanged(const std::string& name, const Dictionary& properties) = 0;
    virtual void playerSeeked(const std::string& name, double position) = 0; // seconds
    virtual void playerVanished(const std::string& name) = 0;
};

// The players of a bus. Main thread, where the listener is called too, never from inside `start`.
class PlayerBus
{
public:
    virtual ~PlayerBus() = default;
    // Once. The listener must outlive the bus.
    virtual void start(PlayerBusListener& listener) = 0;
    // Whether every player that was there at the start has answered or been given up, or there is no bus.
    virtual bool isSettled() const = 0;
};

} // namespace vitrel
