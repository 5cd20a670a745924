#include "platform/appkit/x11/X11Idle.h"

#include "platform/appkit/x11/X11Private.h"

#include <X11/Xatom.h>
#include <X11/extensions/scrnsaver.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace vitrel {

namespace {

constexpr double kLongest = 32767; // of the protocol, in seconds
constexpr long kMostWords = 64;

// Words of a window's property; none if it hasn't got it or isn't there.
std::vector<unsigned long> words(X11Connection& connection, Window window, const char* name, Atom type)
{
    Display* display = displayOf(connection);
    Atom actual = None;
    int format = 0;
    unsigned long count = 0, left = 0;
    unsigned char* data = nullptr;
    std::vector<unsigned long> list;
    if (XGetWindowProperty(display, window, XInternAtom(display, name, False), 0, kMostWords, False, type, &actual,
            &format, &count, &left, &data)
            == Success
        && data && format == 32)
        for (unsigned long k = 0; k < count; ++k)
            list.push_back(reinterpret_cast<const unsigned long*>(data)[k]);
    if (data)
        XFree(data);
    return list;
}

} // namespace

std::unique_ptr<X11Idle> X11Idle::make(std::shared_ptr<X11Connection> connection, Seconds timeout)
{
    if (!connection->isAlive() || !isThere(*connection))
        return nullptr;
    Display* display = displayOf(*connection);
    std::unique_ptr<X11Idle> idle(new X11Idle(connection));
    auto& before = idle->before_;
    XGetScreenSaver(display, &before.timeout, &before.interval, &before.preferBlanking, &before.allowExposures);
    XScreenSaverSelectInput(display, connection->rootWindow(), ScreenSaverNotifyMask);
    idle->listener_ = connection->listen(0, [raw = idle.get()](const void* event) { raw->handle(event); });
    const int seconds = int(std::lround(std::clamp(timeout.count(), 1.0, kLongest)));
    XSetScreenSaver(display, seconds, 0, DontPreferBlanking, DontAllowExposures);
    // A timer that has run out already wouldn't run out again.
    XResetScreenSaver(display);
    connection->flush();
    return idle;
}

X11Idle::~X11Idle()
{
    connection_->unlisten(listener_);
    if (!connection_->isAlive())
        return;
    XScreenSaverSelectInput(displayOf(*connection_), connection_->rootWindow(), 0);
    XSetScreenSaver(
        displayOf(*connection_), before_.timeout, before_.interval, before_.preferBlanking, before_.allowExposures);
    connection_->flush();
}

bool X11Idle::isTaken(X11Connection& connection)
{
    return connection.isAlive()
        && !words(connection, connection.rootWindow(), "_MIT_SCREEN_SAVER_ID", AnyPropertyType).empty();
}

void X11Idle::handle(const void* data)
{
    if (!data)
        return;
    const auto& event = *static_cast<const XEvent*>(data);
    if (event.type != connection_->extensions().saver)
        return;
    const bool idle = reinterpret_cast<const XScreenSaverNotifyEvent&>(event).state == ScreenSaverOn;
    if (idle == std::exchange(idle_, idle))
        return;
    if (const auto callback = idle ? onIdle : onResumed)
        callback();
}

X11FullScreen::X11FullScreen(std::shared_ptr<X11Connection> connection)
    : connection_(std::move(connection))
{
    connection_->selectOnRoot(PropertyChangeMask);
    rootListener_ = connection_->listen(connection_->rootWindow(), [this](const void* data) {
        if (!data || static_cast<const XEvent*>(data)->type == PropertyNotify)
            look();
    });
    look();
}

X11FullScreen::~X11FullScreen()
{
    connection_->unlisten(rootListener_);
    if (listener_)
        connection_->unlisten(listener_);
}

void X11FullScreen::look()
{
    if (!connection_->isAlive())
        return;
    const auto active = words(*connection_, connection_->rootWindow(), "_NET_ACTIVE_WINDOW", XA_WINDOW);
    const unsigned long window = active.empty() ? 0 : active.front();
    if (window != active_) {
        if (listener_)
            connection_->unlisten(std::exchange(listener_, 0));
        active_ = window;
        if (window) {
            XSelectInput(displayOf(*connection_), window, PropertyChangeMask);
            listener_ = connection_->listen(window, [this](const void* data) {
                if (data && static_cast<const XEvent*>(data)->type == PropertyNotify)
                    lookAtWindow();
            });
        }
    }
    lookAtWindow();
}

void X11FullScreen::lookAtWindow()
{
    if (!connection_->isAlive())
        return;
    bool fullScreen = false;
    if (active_) {
        const Atom wanted = XInternAtom(displayOf(*connection_), "_NET_WM_STATE_FULLSCREEN", False);
        const auto state = words(*connection_, active_, "_NET_WM_STATE", XA_ATOM);
        fullScreen = std::find(state.begin(), state.end(), wanted) != state.end();
    }
    connection_->flush();
    if (fullScreen == std::exchange(fullScreen_, fullScreen))
        return;
    if (const auto callback = onChanged)
        callback(fullScreen);
}

} // namespace vitrel
