// A saver in one window of the X server: an ordinary one, another program's, or one that covers a monitor.
#include "platform/appkit/x11/X11Window.h"
#include "programs/vitrel/Arguments.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/WindowPlayer.h"

#include <algorithm>
#include <cstdlib>

namespace vitrel {

namespace {

bool isGuest(const PlayOptions& options)
{
    return options.root || !options.windowNumber.empty();
}

unsigned long guestWindowNumber(const PlayOptions& options, X11Connection& connection)
{
    if (!options.windowNumber.empty())
        return parseWindowNumber(options.windowNumber);
    const char* given = std::getenv("XSCREENSAVER_WINDOW");
    const unsigned long number = given ? parseWindowNumber(given) : 0;
    return number ? number : x11VirtualRoot(connection);
}

// Who started us for a window of theirs would only start us again, at once and without end, if we ended because
// something is wrong. So the window stays black until they end us.
int stayBlack(const PlayOptions& options, int code)
{
    SystemClock clock;
    RunLoop loop(clock);
    const HostSignals signals(loop, [&](int) { loop.stop(); });
    const auto connection = X11Connection::open(loop);
    const auto window = connection ? X11Window::adopt(connection, guestWindowNumber(options, *connection)) : nullptr;
    if (!window)
        return code;
    const auto surface = window->makeSurface();
    surface->setAlphaValue(0);
    window->onClosed = [&] { loop.stop(); };
    loop.run();
    return 0;
}

class X11Player final : public WindowPlayer
{
public:
    using WindowPlayer::WindowPlayer;
    ~X11Player() override;

private:
    Opened open() override;
    std::vector<Display> displays() override;
    std::string displayOfWindow() override;
    bool isConnected() const override { return connection_->isAlive(); }
    void coverAgain() override;
    std::unique_ptr<X11Window> makeWindow();
    const X11Monitor* monitor() const;

    std::shared_ptr<X11Connection> connection_;
    std::vector<X11Monitor> monitors_;
    X11Window* x_ = nullptr; // the base's
};

X11Player::~X11Player()
{
    if (connection_)
        connection_->onLost = connection_->onScreensChanged = nullptr;
}

// The one to cover; null if it isn't there.
const X11Monitor* X11Player::monitor() const
{
    const auto place = std::find_if(monitors_.begin(), monitors_.end(),
        [&](const X11Monitor& monitor) { return monitor.name == options().monitor; });
    return place == monitors_.end() ? nullptr : &*place;
}

std::unique_ptr<X11Window> X11Player::makeWindow()
{
    if (isGuest(options()))
        return X11Window::adopt(connection_, guestWindowNumber(options(), *connection_));
    if (covers())
        return monitor() ? X11Window::cover(connection_, *monitor(), options().fadeIn) : nullptr;
    const auto [width, height] = *parseSize(options().window);
    return X11Window::open(connection_, "Vitrel", width, height);
}

WindowPlayer::Opened X11Player::open()
{
    connection_ = X11Connection::open(host().runLoop());
    if (!connection_)
        return complainOfDisplay();
    connected();
    monitors_ = x11Monitors(*connection_);
    auto window = makeWindow();
    if (!window)
        return covers() ? int(DisplayExit::Gone) : complain("there is no such window");
    x_ = window.get();
    x_->onClosed = x_->onDismissed = connection_->onLost = [this] { dismiss(); };
    connection_->onScreensChanged = [this] { displaysChanged(); };
    return std::unique_ptr<HostWindow>(std::move(window));
}

std::vector<WindowPlayer::Display> X11Player::displays()
{
    monitors_ = x11Monitors(*connection_);
    return displaysOf(monitors_);
}

std::string X11Player::displayOfWindow()
{
    const auto* monitor = x11MonitorOfWindow(*connection_, monitors_, x_->number());
    return monitor ? monitor->name : "";
}

void X11Player::coverAgain()
{
    x_->coverMonitor(*monitor());
}

} // namespace

int playInWindow(const PlayOptions& options)
{
    return playWith(
        options, [&](SaverHost& host) { return std::make_unique<X11Player>(options, host); },
        [&](int code) { return isGuest(options) && code == 1 ? stayBlack(options, code) : code; });
}

} // namespace vitrel
