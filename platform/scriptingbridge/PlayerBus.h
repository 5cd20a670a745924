#pragma once

#include "platform/foundation/Value.h"

#include <cstdint>
#include <string>

namespace vitrel {

// What the bus knows of a player that has come.
struct PlayerArrival {
    std::int64_t process = 0; // 0 if unknown
    // Of two players the one whose connection came to the bus first has the smaller number; 0 if unknown.
    std::uint64_t connection = 0;
    // It was on the bus before the bus was listened to, so that what it says is no news.
    bool wasThere = false;
};

// Told what happens on the bus. Names are those of the bus without the prefix that all players share, such as "mpv"
// or "chromium.instance12".
class PlayerBusListener
{
public:
    virtual ~PlayerBusListener() = default;
    // A player has answered for the first time.
    virtual void playerAppeared(const std::string& name, const PlayerArrival& arrival, const Dictionary& properties)
        = 0;
    // It has said what some of its properties are, of its own accord or because it was asked. What a player says may
    // be of any kind.
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
    // Whether a player that has appeared has never told a change of its own accord, as some never do.
    virtual bool isSilent(const std::string& name) const = 0;
    // Asks it for everything again; the answer comes as a change.
    virtual void ask(const std::string& name) = 0;
};

} // namespace vitrel
