#include "platform/appkit/wayland/WaylandIdle.h"

#include "platform/appkit/wayland/WaylandPrivate.h"

#include <algorithm>

namespace vitrel {

struct WaylandIdle::Native {
    explicit Native(WaylandIdle& owner)
        : owner(owner)
    { }
    ~Native()
    {
        if (notification)
            ext_idle_notification_v1_destroy(notification);
        if (timeout)
            org_kde_kwin_idle_timeout_release(timeout);
    }
    static void tell(void* data, std::function<void()> WaylandIdle::*what)
    {
        if (const auto callback = static_cast<Native*>(data)->owner.*what)
            callback();
    }
    WaylandIdle& owner;
    ext_idle_notification_v1* notification = nullptr;
    org_kde_kwin_idle_timeout* timeout = nullptr;
};

WaylandIdle::WaylandIdle() = default;

WaylandIdle::~WaylandIdle()
{
    native_.reset();
    connection_->flush();
}

std::unique_ptr<WaylandIdle> WaylandIdle::make(std::shared_ptr<WaylandConnection> connection, Seconds timeout)
{
    auto& wire = connection->wire();
    if (!connection->isAlive() || wire.seats.empty() || (!wire.idleNotifier && !wire.kdeIdle))
        return nullptr;
    wl_seat* seat = wire.seats.begin()->second->seat;
    const auto milliseconds = std::uint32_t(std::clamp(timeout.count() * 1000, 1.0, 2147483647.0));
    std::unique_ptr<WaylandIdle> idle(new WaylandIdle);
    idle->connection_ = connection;
    idle->native_ = std::make_unique<Native>(*idle);
    auto& native = *idle->native_;
    if (wire.idleNotifier) {
        static const ext_idle_notification_v1_listener listener = {
            .idled = [](void* data, ext_idle_notification_v1*) { Native::tell(data, &WaylandIdle::onIdle); },
            .resumed = [](void* data, ext_idle_notification_v1*) { Native::tell(data, &WaylandIdle::onResumed); },
        };
        native.notification = ext_idle_notifier_v1_get_idle_notification(wire.idleNotifier, milliseconds, seat);
        ext_idle_notification_v1_add_listener(native.notification, &listener, &native);
    } else {
        static const org_kde_kwin_idle_timeout_listener listener = {
            .idle = [](void* data, org_kde_kwin_idle_timeout*) { Native::tell(data, &WaylandIdle::onIdle); },
            .resumed = [](void* data, org_kde_kwin_idle_timeout*) { Native::tell(data, &WaylandIdle::onResumed); },
        };
        native.timeout = org_kde_kwin_idle_get_idle_timeout(wire.kdeIdle, seat, milliseconds);
        org_kde_kwin_idle_timeout_add_listener(native.timeout, &listener, &native);
    }
    connection->flush();
    return idle;
}

WaylandSummary waylandSummary(const WaylandConnection& connection)
{
    WaylandSummary summary;
    for (const auto& output : connection.outputs()) {
        summary.displays += (summary.displays.empty() ? "" : ", ") + output.name + " " + std::to_string(output.width)
            + "x" + std::to_string(output.height);
        if (output.screen.localizedName != output.name)
            summary.displays += " (" + output.screen.localizedName + ")";
    }
    const auto& offered = connection.protocols();
    summary.cover = offered.layerShell ? "zwlr_layer_shell_v1" : offered.shell ? "xdg_wm_base" : "";
    summary.idle = offered.idleNotifier ? "ext_idle_notifier_v1" : offered.kdeIdle ? "org_kde_kwin_idle" : "";
    summary.missing = connection.missing(true);
    return summary;
}

} // namespace vitrel
