#include "platform/appkit/x11/X11Idle.h"
#include "programs/idle/IdleSource.h"
#include "programs/idle/MutterIdle.h"

namespace vitrel {

namespace {

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
    template <class Callback, class... Values> static void tell(const Callback& callback, Values... values)
    {
        if (const auto copy = callback)
            copy(values...);
    }

    std::shared_ptr<X11Connection> connection_;
    std::unique_ptr<X11Idle> idle_;
    X11FullScreen fullScreen_;
};

IdleSourceKind x11SourceHere(RunLoop& loop)
{
    const auto connection = X11Connection::open(loop);
    if (!connection)
        return {"", "there is no display to wait for; neither WAYLAND_DISPLAY nor DISPLAY leads to one"};
    if (X11Idle::isTaken(*connection))
        return {"", "a screen saver or locker waits on this X server already; let it start vitrel"};
    if (!X11Idle::isThere(*connection))
        return {"", "this X server doesn't tell of idleness: it has no MIT-SCREEN-SAVER"};
    return {"MIT-SCREEN-SAVER", ""};
}

} // namespace

IdleSourceKind idleSourceHere(RunLoop& loop)
{
    if (MutterIdle::isThere())
        return {"org.gnome.Mutter.IdleMonitor", ""};
    return x11SourceHere(loop);
}

std::unique_ptr<IdleSource> beginIdleSource(RunLoop& loop, Seconds timeout)
{
    if (MutterIdle::isThere())
        return std::make_unique<MutterIdle>(loop, timeout);
    if (const auto connection = X11Connection::open(loop))
        if (auto idle = X11Idle::make(connection, timeout))
            return std::make_unique<X11Source>(connection, std::move(idle));
    return nullptr;
}

} // namespace vitrel
