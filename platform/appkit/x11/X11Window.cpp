#include "platform/appkit/x11/X11Window.h"

#include "platform/appkit/FadingSurface.h"
#include "platform/appkit/x11/ShmSurface.h"
#include "platform/appkit/x11/X11Private.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/Xfixes.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace vitrel {

namespace {

// A nudged table is no user who came back.
constexpr int kDismissDistance = 10;
// A menu that was open at the start holds the grab for as long.
constexpr int kGrabTries = 20;
constexpr Seconds kGrabPause{0.05};
constexpr Seconds kRaisePause{1};
constexpr int kLongestSide = 32767; // of the protocol

constexpr long kInputMask = KeyPressMask | ButtonPressMask | PointerMotionMask;

} // namespace

X11Window::X11Window(std::shared_ptr<X11Connection> connection, Kind kind)
    : connection_(std::move(connection))
    , kind_(kind)
{ }

std::unique_ptr<X11Window> X11Window::open(
    std::shared_ptr<X11Connection> connection, const std::string& title, int width, int height, const Bitmap* icon)
{
    std::unique_ptr<X11Window> window(new X11Window(std::move(connection), Kind::Own));
    if (!window->create(0, 0, width, height))
        return nullptr;
    window->setTitle(title, icon);
    XMapWindow(displayOf(*window->connection_), window->window_);
    window->connection_->flush();
    return window;
}

std::unique_ptr<X11Window> X11Window::cover(
    std::shared_ptr<X11Connection> connection, const X11Monitor& monitor, Seconds fadeIn)
{
    std::unique_ptr<X11Window> window(new X11Window(connection, Kind::Covering));
    window->fade_ = fadeIn;
    if (fadeIn > Seconds(0))
        window->backdrop_ = X11Backdrop::take(connection, monitor.x, monitor.y, monitor.width, monitor.height);
    if (!window->create(monitor.x, monitor.y, monitor.width, monitor.height))
        return nullptr;
    window->setTitle("Vitrel", nullptr);
    if (window->backdrop_)
        XSetWindowBackgroundPixmap(displayOf(*connection), window->window_, window->backdrop_->pixmap());
    window->hideCursor();
    window->watchRawInput();
    XMapRaised(displayOf(*window->connection_), window->window_);
    window->grab(kGrabTries);
    window->connection_->flush();
    return window;
}

std::unique_ptr<X11Window> X11Window::adopt(std::shared_ptr<X11Connection> connection, unsigned long number)
{
    if (!connection->isAlive())
        return nullptr;
    Display* display = displayOf(*connection);
    XWindowAttributes attributes;
    X11ErrorTrap trap(*connection);
    // These masks any client may have; those for input belong to one alone.
    XSelectInput(display, number, StructureNotifyMask | ExposureMask);
    const bool found = XGetWindowAttributes(display, number, &attributes);
    if (trap.failed() || !found || attributes.c_class == InputOnly)
        return nullptr;
    std::unique_ptr<X11Window> window(new X11Window(connection, Kind::Foreign));
    window->window_ = number;
    window->width_ = attributes.width;
    window->height_ = attributes.height;
    window->mapped_ = attributes.map_state != IsUnmapped;
    window->listener_ = connection->listen(number, [raw = window.get()](const void* event) { raw->handle(event); });
    return window;
}

X11Window::~X11Window()
{
    if (listener_)
        connection_->unlisten(listener_);
    if (rawListener_)
        connection_->unlisten(rawListener_);
    if (kind_ == Kind::Foreign || !window_ || !connection_->isAlive())
        return;
    leave();
    Display* display = displayOf(*connection_);
    if (cursor_)
        XFreeCursor(display, cursor_);
    XDestroyWindow(display, window_);
    connection_->flush();
}

void X11Window::leave()
{
    if (kind_ == Kind::Foreign || std::exchange(left_, true) || !connection_->isAlive())
        return;
    closed_ = true;
    Display* display = displayOf(*connection_);
    if (kind_ == Kind::Covering && connection_->extensions().fixes)
        XFixesShowCursor(display, connection_->rootWindow());
    XUnmapWindow(display, window_); // ends its grabs
    connection_->flush();
}

bool X11Window::create(int x, int y, int width, int height)
{
    if (!connection_->isAlive())
        return false;
    Display* display = displayOf(*connection_);
    width_ = std::clamp(width, 1, kLongestSide);
    height_ = std::clamp(height, 1, kLongestSide);
    XSetWindowAttributes attributes{};
    attributes.background_pixel = BlackPixel(display, DefaultScreen(display));
    attributes.border_pixel = attributes.background_pixel;
    attributes.override_redirect = kind_ == Kind::Covering;
    attributes.event_mask
        = StructureNotifyMask | ExposureMask | VisibilityChangeMask | (kind_ == Kind::Covering ? kInputMask : 0);
    window_ = XCreateWindow(display, connection_->rootWindow(), x, y, unsigned(width_), unsigned(height_), 0,
        CopyFromParent, InputOutput, nullptr, CWBackPixel | CWBorderPixel | CWOverrideRedirect | CWEventMask,
        &attributes);
    listener_ = connection_->listen(window_, [this](const void* event) { handle(event); });
    return connection_->isAlive();
}

void X11Window::setTitle(const std::string& title, const Bitmap* icon)
{
    Display* display = displayOf(*connection_);
    const Atom text = XInternAtom(display, "UTF8_STRING", False);
    for (const char* name : {"_NET_WM_NAME", "WM_NAME"})
        XChangeProperty(display, window_, XInternAtom(display, name, False), text, 8, PropModeReplace,
            reinterpret_cast<const unsigned char*>(title.data()), int(title.size()));
    char name[] = "vitrel", className[] = "Vitrel";
    XClassHint hint{name, className};
    XSetClassHint(display, window_, &hint);
    Atom close = XInternAtom(display, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(display, window_, &close, 1);
    if (icon && !icon->pixels.empty()) {
        // Straight colours, in longs, whatever their size.
        std::vector<unsigned long> words = {unsigned(icon->width), unsigned(icon->height)};
        for (const auto word : icon->pixels) {
            const unsigned alpha = word >> 24;
            unsigned long straight = alpha;
            for (const int shift : {16, 8, 0})
                straight = straight << 8 | (alpha ? std::min(255u, (word >> shift & 255) * 255 / alpha) : 0);
            words.push_back(straight);
        }
        XChangeProperty(display, window_, XInternAtom(display, "_NET_WM_ICON", False), XA_CARDINAL, 32, PropModeReplace,
            reinterpret_cast<const unsigned char*>(words.data()), int(words.size()));
    }
}

void X11Window::hideCursor()
{
    Display* display = displayOf(*connection_);
    const char nothing = 0;
    XColor black{};
    const Pixmap empty = XCreateBitmapFromData(display, window_, &nothing, 1, 1);
    cursor_ = XCreatePixmapCursor(display, empty, empty, &black, &black, 0, 0);
    XFreePixmap(display, empty);
    XDefineCursor(display, window_, cursor_);
    if (connection_->extensions().fixes)
        XFixesHideCursor(display, connection_->rootWindow());
}

// The grabs keep input from what lies beneath. Without them there are still the raw events.
void X11Window::grab(int tries)
{
    if (closed_ || !connection_->isAlive())
        return;
    Display* display = displayOf(*connection_);
    const bool keys = XGrabKeyboard(display, window_, True, GrabModeAsync, GrabModeAsync, CurrentTime) == GrabSuccess;
    const bool pointer = XGrabPointer(display, window_, True, ButtonPressMask | PointerMotionMask, GrabModeAsync,
                             GrabModeAsync, 0, cursor_, CurrentTime)
        == GrabSuccess;
    connection_->flush(); // what came ahead of the answers must not lie there
    if ((keys && pointer) || tries <= 1)
        return;
    connection_->loop().postAfter(kGrabPause, [this, alive = std::weak_ptr(alive_), tries] {
        if (alive.lock())
            grab(tries - 1);
    });
}

void X11Window::watchRawInput()
{
    if (connection_->extensions().input < 0)
        return;
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    for (const int event : {XI_RawKeyPress, XI_RawButtonPress, XI_RawMotion})
        XISetMask(bits, event);
    XIEventMask mask{XIAllMasterDevices, sizeof bits, bits};
    XISelectEvents(displayOf(*connection_), connection_->rootWindow(), &mask, 1);
    rawListener_ = connection_->listen(0, [this](const void* event) { handleRaw(event); });
}

void X11Window::handleRaw(const void* data)
{
    if (!data || !mapped_)
        return;
    const auto& event = *static_cast<const XEvent*>(data);
    if (event.type != GenericEvent || event.xcookie.extension != connection_->extensions().input)
        return;
    if (event.xcookie.evtype == XI_RawKeyPress || event.xcookie.evtype == XI_RawButtonPress) {
        dismiss();
    } else if (event.xcookie.evtype == XI_RawMotion) {
        Window root = 0, child = 0;
        int x = 0, y = 0, inX = 0, inY = 0;
        unsigned buttons = 0;
        if (XQueryPointer(
                displayOf(*connection_), connection_->rootWindow(), &root, &child, &x, &y, &inX, &inY, &buttons))
            pointerIsAt(x, y);
    }
}

void X11Window::handle(const void* data)
{
    if (!data) {
        becomeClosed();
        return;
    }
    const auto& event = *static_cast<const XEvent*>(data);
    switch (event.type) {
    case DestroyNotify:
        becomeClosed();
        break;
    case ClientMessage:
        if (kind_ == Kind::Own
            && Atom(event.xclient.data.l[0]) == XInternAtom(displayOf(*connection_), "WM_DELETE_WINDOW", False))
            becomeClosed();
        break;
    case ConfigureNotify:
        if (event.xconfigure.width != width_ || event.xconfigure.height != height_) {
            width_ = event.xconfigure.width;
            height_ = event.xconfigure.height;
            if (onResized)
                onResized(width_, height_);
        }
        break;
    case MapNotify:
        mapped_ = true;
        break;
    case UnmapNotify:
        mapped_ = false;
        break;
    case VisibilityNotify:
        covered_ = event.xvisibility.state == VisibilityFullyObscured;
        if (kind_ == Kind::Covering && event.xvisibility.state != VisibilityUnobscured)
            raiseAgain();
        break;
    case KeyPress:
    case ButtonPress:
        dismiss();
        break;
    case MotionNotify:
        pointerIsAt(event.xmotion.x_root, event.xmotion.y_root);
        break;
    }
}

// What comes up over a saver, a notification say, is covered again, but two that insist don't fight each other.
void X11Window::raiseAgain()
{
    if (std::exchange(raisePending_, true))
        return;
    connection_->loop().postAfter(kRaisePause, [this, alive = std::weak_ptr(alive_)] {
        if (!alive.lock())
            return;
        raisePending_ = false;
        if (closed_ || !connection_->isAlive())
            return;
        XRaiseWindow(displayOf(*connection_), window_);
        connection_->flush();
    });
}

// The first position is only where the pointer is: mapping the window alone can tell of one.
void X11Window::pointerIsAt(int x, int y)
{
    if (!std::exchange(pointerSeen_, true)) {
        pointerX_ = x;
        pointerY_ = y;
    } else if (std::abs(x - pointerX_) > kDismissDistance || std::abs(y - pointerY_) > kDismissDistance) {
        dismiss();
    }
}

void X11Window::dismiss()
{
    if (kind_ != Kind::Covering || closed_ || std::exchange(dismissed_, true))
        return;
    if (const auto callback = onDismissed)
        callback();
}

void X11Window::becomeClosed()
{
    if (std::exchange(closed_, true))
        return;
    if (const auto callback = onClosed)
        callback();
}

bool X11Window::isVisible() const
{
    return mapped_ && !covered_ && !closed_ && connection_->isAlive() && !connection_->isPoweredOff();
}

void X11Window::coverMonitor(const X11Monitor& monitor)
{
    if (kind_ != Kind::Covering || closed_ || !connection_->isAlive())
        return;
    XMoveResizeWindow(displayOf(*connection_), window_, monitor.x, monitor.y, unsigned(std::max(1, monitor.width)),
        unsigned(std::max(1, monitor.height)));
    connection_->flush();
}

std::unique_ptr<Surface> X11Window::makeSurface()
{
    const std::weak_ptr alive = alive_;
    auto surface
        = std::make_unique<ShmSurface>(connection_, window_, [this, alive] { return alive.lock() && isVisible(); });
    Bitmap picture = backdrop_ ? backdrop_->picture() : Bitmap();
    if (picture.pixels.empty()) {
        forgetBackdrop();
        return surface;
    }
    const auto ended = [this, alive] {
        if (alive.lock())
            forgetBackdrop();
    };
    return std::make_unique<FadingSurface>(connection_->loop(), std::move(surface), std::move(picture), ended, fade_);
}

// From now on what the server shows of the window by itself is black.
void X11Window::forgetBackdrop()
{
    if (!backdrop_)
        return;
    if (connection_->isAlive() && !left_) {
        Display* display = displayOf(*connection_);
        XSetWindowBackground(display, window_, BlackPixel(display, DefaultScreen(display)));
    }
    backdrop_.reset();
    connection_->flush();
}

} // namespace vitrel
