#pragma once

#include "base/Clock.h"
#include "platform/scriptingbridge/PlayerBus.h"

#include <memory>

namespace vitrel {

class RunLoop;

// The players of the session bus. Nothing blocks on a player: all is asked for asynchronously, and one that doesn't
// answer within two seconds is left out until it says something. Without a bus, or when it dies, a new connection is
// tried every few seconds.
class SessionBus final : public PlayerBus
{
public:
    // `retryInterval` is how long after a failure the next connection is tried.
    explicit SessionBus(RunLoop& loop, Seconds retryInterval = Seconds(5));
    ~SessionBus() override;

    void start(PlayerBusListener& listener) override;
    bool isSettled() const override;
    bool isSilent(const std::string& name) const override;
    void ask(const std::string& name) override;
    // Whether there is a connection.
    bool isConnected() const;

private:
    class Connection;
    std::shared_ptr<Connection> connection_;
};

} // namespace vitrel
