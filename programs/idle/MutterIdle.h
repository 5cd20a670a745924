#pragma once

#include "programs/idle/IdleSource.h"

#include <memory>

namespace vitrel {

// GNOME's: org.gnome.Mutter.IdleMonitor on the session's bus, whether on X11 or on Wayland.
class MutterIdle final : public IdleSource
{
public:
    MutterIdle(RunLoop& loop, Seconds timeout);
    ~MutterIdle() override;

    // Whether the bus has somebody of that name. Asks and waits a second at most; ahead of the loop's run.
    static bool isThere();

private:
    class Connection;
    std::shared_ptr<Connection> connection_;
};

} // namespace vitrel
