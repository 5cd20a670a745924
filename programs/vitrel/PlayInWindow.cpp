// A saver in one window of the X server: an ordinary one, another program's, or one that covers a monitor.
#include "base/Text.h"
#include "platform/appkit/x11/X11Window.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/file/CompositionFile.h"
#include "programs/supervisor/DisplaySupervisor.h"
#include "programs/supervisor/SignOfLife.h"
#include "programs/vitrel/Arguments.h"
#include "programs/vitrel/Commands.h"
#include "programs/watch/FileWatch.h"
#include "programs/vitrel/Files.h"
#include "programs/vitrel/Play.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
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

class WindowPlayer
{
public:
    WindowPlayer(const PlayOptions& options, SaverHost& host)
        : options_(options)
        , host_(host)
    { }
    int run();
    void stop();

private:
    void dismiss();
    bool open();
    std::unique_ptr<X11Window> makeWindow();
    void lookAtScreens();
    void screensChanged();
    void fileChanged();

    const PlayOptions& options_;
    SaverHost& host_;
    int code_ = 0;
    std::shared_ptr<X11Connection> connection_;
    std::vector<X11Monitor> monitors_;
    std::unique_ptr<X11Window> x_;
    std::shared_ptr<NSWindow> window_;
    std::shared_ptr<VitrelView> view_;
    std::unique_ptr<FileWatch> watch_;
    std::unique_ptr<SignOfLife> signOfLife_;
};

void WindowPlayer::stop()
{
    if (host_.stopping())
        return;
    // The user wants the screen now; the rest of the end needs no picture. A guest's window is its owner's to close.
    if (x_ && !options_.monitor.empty())
        x_->leave();
    HostSignals::capExit();
    host_.stop();
}

void WindowPlayer::dismiss()
{
    // The other displays' savers need not wait for this one's end.
    if (!host_.stopping() && options_.supervisor > 0 && getppid() == options_.supervisor)
        ::kill(options_.supervisor, SIGTERM);
    stop();
}

const X11Monitor* monitorNamed(const std::vector<X11Monitor>& monitors, const std::string& name)
{
    const auto place = std::find_if(
        monitors.begin(), monitors.end(), [&](const X11Monitor& monitor) { return monitor.name == name; });
    return place == monitors.end() ? nullptr : &*place;
}

std::unique_ptr<X11Window> WindowPlayer::makeWindow()
{
    if (isGuest(options_))
        return X11Window::adopt(connection_, guestWindowNumber(options_, *connection_));
    if (const auto* monitor = monitorNamed(monitors_, options_.monitor))
        return X11Window::cover(connection_, *monitor, options_.fadeIn);
    if (!options_.monitor.empty())
        return nullptr;
    const auto [width, height] = *parseSize(options_.window);
    return X11Window::open(connection_, "Vitrel", width, height);
}

bool WindowPlayer::open()
{
    if (options_.supervisor > 0 && getppid() == options_.supervisor)
        signOfLife_ = std::make_unique<SignOfLife>(host_.runLoop());
    connection_ = X11Connection::open(host_.runLoop());
    if (!connection_) {
        code_ = complainOfDisplay();
        return false;
    }
    monitors_ = x11Monitors(*connection_);
    x_ = makeWindow();
    if (!x_) {
        code_ = !options_.monitor.empty() ? int(DisplayExit::Gone) : complain("there is no such window");
        return false;
    }
    const NSSize size{double(x_->width()), double(x_->height())};
    window_ = std::make_shared<NSWindow>(NSRect{{0, 0}, size}, x_->makeSurface());
    lookAtScreens();
    x_->onResized = [this](int width, int height) { host_.resizeView(*window_, {double(width), double(height)}); };
    x_->onClosed = x_->onDismissed = connection_->onLost = [this] { dismiss(); };
    connection_->onScreensChanged = [this] { screensChanged(); };
    host_.surroundings().screens = [this] {
        std::vector<std::shared_ptr<const NSScreen>> screens;
        for (const auto& monitor : monitors_)
            screens.push_back(std::make_shared<const NSScreen>(monitor.screen));
        return screens;
    };
    host_.surroundings().displays = [this] {
        std::vector<DisplayInformation> displays;
        for (const auto& monitor : monitors_)
            displays.push_back(monitor.information);
        return displays;
    };
    return true;
}

void WindowPlayer::lookAtScreens()
{
    const auto* monitor = options_.monitor.empty() ? x11MonitorOfWindow(*connection_, monitors_, x_->number())
                                                   : monitorNamed(monitors_, options_.monitor);
    window_->setScreen(monitor ? std::make_shared<const NSScreen>(monitor->screen) : nullptr);
}

void WindowPlayer::screensChanged()
{
    monitors_ = x11Monitors(*connection_);
    lookAtScreens();
    if (options_.monitor.empty())
        return;
    if (const auto* monitor = monitorNamed(monitors_, options_.monitor)) {
        x_->coverMonitor(*monitor);
    } else if (connection_->isAlive()) {
        code_ = int(DisplayExit::Gone);
        stop();
    }
}

void WindowPlayer::fileChanged()
{
    qc::CompositionError error;
    // What an editor has half written, or an author half thought, doesn't take the picture away.
    if (!qc::readCompositionFile(options_.file, &error))
        complain(options_.file + " is no composition: " + error.reason);
    else if (!host_.stopping())
        view_->fileDidChange();
}

int WindowPlayer::run()
{
    if (!open())
        return code_;
    if (!qc::GLContext::current()) {
        complain("there is no OpenGL 3.3 here");
        if (!options_.window.empty())
            return 1;
    }
    host_.meetPlayers();
    if (host_.stopping())
        return code_;
    view_ = host_.addView(window_, false);
    if (!view_)
        return complain("can't make a view");
    if (options_.watch)
        watch_ = std::make_unique<FileWatch>(host_.runLoop(), options_.file, [this] { fileChanged(); });
    host_.runLoop().run();
    connection_->onLost = connection_->onScreensChanged = nullptr;
    return code_;
}

} // namespace

int playInWindow(const PlayOptions& options)
{
    qc::prepareSoftwareRendering();
    WindowPlayer* player = nullptr;
    int code = 0;
    const auto host = SaverHost::make(options, code, [&](SaverHost& host) {
        if (player)
            player->stop();
        else
            host.stop();
    });
    if (!host)
        return isGuest(options) && code == 1 ? stayBlack(options, code) : code;
    WindowPlayer here(options, *host);
    player = &here;
    return here.run();
}

} // namespace vitrel
