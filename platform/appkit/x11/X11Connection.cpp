#include "platform/appkit/x11/X11Private.h"

#include <X11/extensions/XInput2.h>
#include <X11/extensions/XShm.h>
#include <X11/extensions/Xfixes.h>
#include <X11/extensions/Xrandr.h>
#include <X11/extensions/scrnsaver.h>

#include <poll.h>

#include <algorithm>
#include <vector>

namespace vitrel {

namespace {

constexpr Seconds kPowerLookup{2}, kPowerLookupWhileOff{0.25};

// Xlib's handlers are the process's, so they find the connection by its display.
std::vector<X11Connection*>& connections()
{
    static std::vector<X11Connection*> list;
    return list;
}

X11Connection* connectionOf(Display* display)
{
    for (auto* connection : connections())
        if (connection->display() == display)
            return connection;
    return nullptr;
}

} // namespace

struct X11Connection::Handlers {
    static int error(Display* display, XErrorEvent* error)
    {
        if (auto* connection = connectionOf(display)) {
            ++connection->errors_;
            if (error->error_code == BadWindow || error->error_code == BadDrawable)
                connection->dead_.push_back(error->resourceid);
        }
        return 0;
    }
    static int ioError(Display*) { return 0; } // says nothing; the one below decides
    static void ioErrorExit(Display*, void* context)
    {
        auto& connection = *static_cast<X11Connection*>(context);
        connection.alive_ = false;
    }
    // Each time, as a toolkit may have put its own in their place.
    static void install()
    {
        XSetErrorHandler(&Handlers::error);
        XSetIOErrorHandler(&Handlers::ioError);
    }
};

std::shared_ptr<X11Connection> X11Connection::open(RunLoop& loop, const std::string& displayName)
{
    std::shared_ptr<X11Connection> connection(new X11Connection(loop));
    return connection->connect(displayName) ? connection : nullptr;
}

X11Connection::X11Connection(RunLoop& loop)
    : loop_(loop)
{ }

bool X11Connection::connect(const std::string& displayName)
{
    Handlers::install();
    Display* display = XOpenDisplay(displayName.empty() ? nullptr : displayName.c_str());
    if (!display)
        return false;
    display_ = display;
    alive_ = true;
    connections().push_back(this);
    XSetIOErrorExitHandler(display, &Handlers::ioErrorExit, this);
    root_ = DefaultRootWindow(display);
    descriptor_ = ConnectionNumber(display);
    findExtensions();
    loop_.watch(descriptor_, POLLIN, [this](short) { dispatch(); });
    flush();
    return alive_;
}

void X11Connection::findExtensions()
{
    Display* display = displayOf(*this);
    int event = 0, error = 0, opcode = 0, major = 2, minor = 0;
    if (XShmQueryExtension(display))
        extensions_.shmCompletion = XShmGetEventBase(display) + ShmCompletion;
    if (XRRQueryExtension(display, &event, &error)) {
        extensions_.randr = event;
        XRRSelectInput(display, root_, RRScreenChangeNotifyMask);
        // Of virtual monitors the extension tells nothing, but the root window is said to be configured anew.
        selectOnRoot(StructureNotifyMask);
    }
    extensions_.fixes = XFixesQueryExtension(display, &event, &error);
    if (XQueryExtension(display, "XInputExtension", &opcode, &event, &error)
        && XIQueryVersion(display, &major, &minor) == Success)
        extensions_.input = opcode;
    if (XScreenSaverQueryExtension(display, &event, &error))
        extensions_.saver = event + ScreenSaverNotify;
    setPower(displayPowerOf(*this));
}

void X11Connection::selectOnRoot(long events)
{
    rootEvents_ |= events;
    if (alive_)
        XSelectInput(displayOf(*this), root_, rootEvents_);
}

X11Connection::~X11Connection()
{
    std::erase(connections(), this);
    if (descriptor_ >= 0)
        loop_.unwatch(descriptor_);
    // Also of a server that has gone: the library has marked the connection, and closing only frees it.
    if (display_)
        XCloseDisplay(displayOf(*this));
}

bool X11Connection::isPoweredOff()
{
    if (!alive_ || !power_)
        return false;
    const Seconds now = loop_.clock().now();
    if (now - powerLooked_ >= (poweredOff_ ? kPowerLookupWhileOff : kPowerLookup)) {
        powerLooked_ = now;
        poweredOff_ = power_->isOff();
    }
    return poweredOff_;
}

int X11Connection::listen(unsigned long window, std::function<void(const void*)> handler)
{
    listeners_[nextListener_] = {window, std::make_shared<std::function<void(const void*)>>(std::move(handler))};
    return nextListener_++;
}

void X11Connection::unlisten(int listener)
{
    listeners_.erase(listener);
}

void X11Connection::flush()
{
    if (alive_)
        XFlush(displayOf(*this));
    const bool waiting = !alive_ || !dead_.empty() || XEventsQueued(displayOf(*this), QueuedAlready) > 0;
    if (!waiting || posted_ || lost_)
        return;
    posted_ = true;
    loop_.post([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->dispatch();
    });
}

void X11Connection::dispatch()
{
    const auto self = weak_from_this().lock(); // a handler may let go of the last holder
    posted_ = false;
    while (alive_ && XPending(displayOf(*this)) > 0) {
        XEvent event;
        XNextEvent(displayOf(*this), &event);
        if (!alive_)
            break;
        if (extensions_.randr >= 0 && event.type == extensions_.randr + RRScreenChangeNotify) {
            XRRUpdateConfiguration(&event);
            if (onScreensChanged)
                onScreensChanged();
            continue;
        }
        if (event.type == ConfigureNotify && event.xconfigure.window == root_ && onScreensChanged)
            onScreensChanged();
        if (event.type == MappingNotify) {
            XRefreshKeyboardMapping(&event.xmapping);
        } else if (event.type == GenericEvent) {
            if (XGetEventData(displayOf(*this), &event.xcookie)) {
                deliver(0, &event);
                XFreeEventData(displayOf(*this), &event.xcookie);
            }
        } else if (event.type == extensions_.saver) {
            deliver(0, &event); // its window is whatever the server shows
        } else {
            // The window of an event from a parent is the parent; here only windows tell of themselves.
            deliver(event.xany.window, &event);
        }
    }
    dispatchDead();
}

// Windows that are gone, and all of them if the server is.
void X11Connection::dispatchDead()
{
    const auto dead = std::exchange(dead_, {});
    for (const auto window : dead)
        deliver(window, nullptr);
    if (alive_ || std::exchange(lost_, true))
        return;
    loop_.unwatch(std::exchange(descriptor_, -1));
    const auto listeners = listeners_;
    for (const auto& [number, listener] : listeners)
        if (listeners_.contains(number))
            (*listener.handler)(nullptr);
    if (onLost)
        onLost();
}

void X11Connection::deliver(unsigned long window, const void* event)
{
    std::vector<int> numbers;
    for (const auto& [number, listener] : listeners_)
        if (listener.window == window)
            numbers.push_back(number);
    for (const int number : numbers)
        if (const auto place = listeners_.find(number); place != listeners_.end()) {
            const auto handler = place->second.handler;
            (*handler)(event);
        }
}

} // namespace vitrel
