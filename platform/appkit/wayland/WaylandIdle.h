#pragma once

#include "platform/appkit/wayland/WaylandConnection.h"

#include <functional>
#include <memory>

namespace vitrel {

// Hears from the compositor that the user has gone and come back. The compositor counts, and counts nothing while a
// program inhibits it; nothing wakes up here meanwhile. Main thread.
class WaylandIdle
{
public:
    // Idle is who has given no input for `timeout`. Null if the compositor can't tell, or has no seat.
    static std::unique_ptr<WaylandIdle> make(std::shared_ptr<WaylandConnection> connection, Seconds timeout);
    ~WaylandIdle();
    WaylandIdle(const WaylandIdle&) = delete;
    WaylandIdle& operator=(const WaylandIdle&) = delete;

    // From a turn of the connection's loop, in turns. They may destroy it. That the compositor has gone, only the
    // connection tells.
    std::function<void()> onIdle, onResumed;

private:
    struct Native;
    WaylandIdle();
    std::shared_ptr<WaylandConnection> connection_;
    std::unique_ptr<Native> native_;
};

// What a user who asks is told of a compositor.
struct WaylandSummary {
    std::string displays; // "DP-1 2560x1440 (Dell Inc. U2720Q), HDMI-A-1 1920x1080"; empty without any
    std::string cover; // how displays are covered: "zwlr_layer_shell_v1", "xdg_wm_base"; empty if they can't be
    std::string idle; // how idleness is told: "ext_idle_notifier_v1", "org_kde_kwin_idle"; empty if it isn't
    std::string missing; // as the connection says it of a window that covers an output
};
WaylandSummary waylandSummary(const WaylandConnection& connection);

} // namespace vitrel
