#include "platform/appkit/wayland/WaylandIdle.h"
#include "platform/appkit/x11/X11Idle.h"
#include "programs/idle/IdleSource.h"
#include "programs/idle/MutterIdle.h"
#include "programs/idle/OtherSavers.h"

namespace vitrel {

namespace {

template <class Callback, class... Values> void tell(const Callback& callback, Values... values)
{
    if (const auto copy = callback)
        copy(values...);
}

class WaylandSource final : public IdleSource
{
public:
    WaylandSource(std::shared_ptr<WaylandConnection> connection, std::unique_ptr<WaylandIdle> idle)
        : connection_(std::move(connection))
        , idle_(std::move(idle))
    {
        idle_->onIdle = [this] { tell(onIdle); };
        idle_->onResumed = [this] { tell(onActive); };
        connection_->onLost = [this] { tell(onLost); };
    }
    ~WaylandSource() override { connection_->onLost = nullptr; }

private:
    std::shared_ptr<WaylandConnection> connection_;
    std::unique_ptr<WaylandIdle> idle_;
};

class X11Source final : public IdleSource
{
public:
    X11Source(std::shared_ptr<X11Connection> connection, std::unique_ptr<X11Idle> idle)
        : connection_(std::move(connection))
        , idle_(std::move(idle))
        , fullScreen_(connection_)
    {
        idle_->onIdle = [this] {
            // What was so from the start was told to nobody.
            tell(onFullScreen, fullScreen_.isFullScreen());
            tell(onIdle);
        };
        idle_->onResumed = [this] { tell(onActive); };
        fullScreen_.onChanged = [this](bool is) { tell(onFullScreen, is); };
        connection_->onLost = [this] { tell(onLost); };
    }
    ~X11Source() override { connection_->onLost = nullptr; }

private:
    std::shared_ptr<X11Connection> connection_;
    std::unique_ptr<X11Idle> idle_;
    X11FullScreen fullScreen_;
};

IdleSourceKind x11SourceHere(RunLoop& loop)
{
    const auto connection = X11Connection::open(loop);
    if (!connection)
        return {"", "there is no display to wait for; neither WAYLAND_DISPLAY nor DISPLAY leads to one"};
    // The server has one timer, so those that wait for it get in each other's way.
    for (const auto& saver : otherSavers())
        if (saver.usesServersTimer)
            return {"", saver.program + " waits on this X server already; start Vitrel from it: " + saver.advice};
    if (X11Idle::isTaken(*connection))
        return {"", "a screen saver or locker waits on this X server already; let it start vitrel"};
    if (!X11Idle::isThere(*connection))
        return {"", "this X server doesn't tell of idleness: it has no MIT-SCREEN-SAVER"};
    return {"MIT-SCREEN-SAVER", ""};
}

} // namespace

IdleSourceKind idleSourceHere(RunLoop& loop)
{
    const auto wayland = WaylandConnection::isThere() ? WaylandConnection::open(loop) : nullptr;
    if (wayland)
        if (const auto summary = waylandSummary(*wayland); !summary.idle.empty())
            return {summary.idle, ""};
    if (MutterIdle::isThere())
        return {"org.gnome.Mutter.IdleMonitor", ""};
    // An X server within a compositor sees the input of its own windows alone.
    if (wayland)
        return {"", "this compositor doesn't tell of idleness: it has no ext_idle_notifier_v1 or org_kde_kwin_idle"};
    return x11SourceHere(loop);
}

std::unique_ptr<IdleSource> beginIdleSource(RunLoop& loop, Seconds timeout)
{
    const auto wayland = WaylandConnection::isThere() ? WaylandConnection::open(loop) : nullptr;
    if (wayland)
        if (auto idle = WaylandIdle::make(wayland, timeout))
            return std::make_unique<WaylandSource>(wayland, std::move(idle));
    if (MutterIdle::isThere())
        return std::make_unique<MutterIdle>(loop, timeout);
    const auto x11 = wayland ? nullptr : X11Connection::open(loop);
    auto idle = x11 ? X11Idle::make(x11, timeout) : nullptr;
    return idle ? std::make_unique<X11Source>(x11, std::move(idle)) : nullptr;
}

} // namespace vitrel
