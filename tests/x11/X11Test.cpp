#include "platform/appkit/Surface.h"
#include "platform/appkit/x11/X11Connection.h"
#include "platform/appkit/x11/X11Idle.h"
#include "platform/appkit/x11/X11Window.h"
#include "support/RealLoop.h"
#include "x11/Onlooker.h"
#include "x11/XvfbServer.h"

#include <X11/Xatom.h>

namespace vitrel {
namespace {

// A server, a connection of ours, and one of somebody else who looks and interferes.
class X11 : public testing::Test
{
protected:
    void SetUp() override { start("640x480x24"); }
    // Another server in the place of the first.
    void start(const std::string& screen, const std::vector<std::string>& more = {})
    {
        connection_.reset();
        other_.reset();
        server_ = std::make_unique<XvfbServer>(screen, more);
        if (server_->display().empty())
            GTEST_SKIP() << "no Xvfb here";
        connection_ = X11Connection::open(loop_, server_->display());
        ASSERT_TRUE(connection_);
        other_ = std::make_unique<Onlooker>(server_->display());
        ASSERT_TRUE(*other_);
    }

    template <class Done> bool turnUntil(Done done) { return real_.turnUntil(done, 10); }
    void turnFor(Seconds span)
    {
        const Seconds end = clock_.now() + span;
        turnUntil([&] { return clock_.now() >= end; });
    }

    // Two connections are served in no order, so what one has sent is looked for until it is there.
    bool becomes(Window window, int x, int y, unsigned long pixel)
    {
        return turnUntil([&] { return other_->pixelAt(window, x, y) == pixel; });
    }

    bool show(Surface& surface, std::uint32_t colour)
    {
        if (!turnUntil([&] { return surface.wantsFrame(); }))
            return false;
        const auto memory = surface.frameMemory();
        if (!memory.pixels)
            return false;
        for (int y = 0; y < surface.height(); ++y)
            for (int x = 0; x < surface.width(); ++x)
                memory.pixels[std::size_t(y) * memory.wordsPerRow + std::size_t(x)]
                    = y == 0 && x == 0 ? 0xFFFFFFFF : colour;
        surface.present();
        return turnUntil([&] { return surface.wantsFrame(); });
    }

    int grabPointer()
    {
        return XGrabPointer(*other_, other_->root(), True, 0, GrabModeAsync, GrabModeAsync, None, None, CurrentTime);
    }

    RealLoop real_;
    SystemClock& clock_ = real_.clock;
    RunLoop& loop_ = real_.loop;
    std::unique_ptr<XvfbServer> server_;
    std::shared_ptr<X11Connection> connection_;
    std::unique_ptr<Onlooker> other_;
};

TEST_F(X11, AWindowShowsItsFramesInSharedMemoryAndConvertedWithoutIt)
{
    const std::tuple<const char*, std::vector<std::string>, unsigned long, unsigned long, const char*> cases[] = {
        {"640x480x24", {}, 0xFF2040, 0xFFFFFF, "shared, as the frame lies"},
        {"640x480x24", {"-extension", "MIT-SHM"}, 0xFF2040, 0xFFFFFF, "sent"},
        {"640x480x16", {}, 31 << 11 | 8 << 5 | 8, 0xFFFF, "shared, converted to 5, 6 and 5 bits"},
        {"640x480x16", {"-extension", "MIT-SHM"}, 31 << 11 | 8 << 5 | 8, 0xFFFF, "sent and converted"},
    };
    for (const auto& [screen, more, red, white, why] : cases) {
        start(screen, more);
        auto window = X11Window::open(connection_, "Title", 101, 50);
        ASSERT_TRUE(window) << why;
        auto surface = window->makeSurface();
        ASSERT_TRUE(show(*surface, 0xFFFF2040)) << why;
        ASSERT_TRUE(show(*surface, 0xFFFF2040)) << why << ": the second image";
        EXPECT_TRUE(becomes(window->number(), 0, 0, white)) << why << ": top row first";
        EXPECT_TRUE(becomes(window->number(), 100, 49, red)) << why;
        EXPECT_EQ(surface->width(), 101);
        EXPECT_EQ(connection_->errors(), 0u) << why;

        surface->setAlphaValue(0);
        EXPECT_TRUE(becomes(window->number(), 100, 49, 0u)) << why;
        EXPECT_FALSE(surface->wantsFrame());
        surface->setAlphaValue(1);
        EXPECT_TRUE(becomes(window->number(), 100, 49, red)) << why << ": the last frame is back";
    }
}

// A still picture isn't drawn again, so the surface has to.
TEST_F(X11, WhatWasCoveredIsShownAgainAndAServerThatGoesAwayEndsNothing)
{
    auto window = X11Window::open(connection_, "", 60, 40);
    auto surface = window->makeSurface();
    ASSERT_TRUE(show(*surface, 0xFF00FF00));
    const Window above = other_->makeWindow(0, 0, 100, 100);
    ASSERT_TRUE(turnUntil([&] { return !window->isVisible(); })) << "covered";
    EXPECT_FALSE(surface->wantsFrame());
    other_->destroy(above);
    EXPECT_TRUE(becomes(window->number(), 30, 20, 0x00FF00));
    EXPECT_TRUE(window->isVisible());

    std::string log;
    window->onClosed = [&] { log += 'c'; };
    connection_->onLost = [&] { log += 'l'; };
    server_->kill();
    surface->frameMemory();
    surface->present();
    EXPECT_TRUE(turnUntil([&] { return log == "cl"; })) << log;
    EXPECT_FALSE(connection_->isAlive());
    EXPECT_FALSE(surface->wantsFrame());
    surface->setAlphaValue(0);
    EXPECT_TRUE(x11Monitors(*connection_).empty());
    EXPECT_FALSE(X11Window::open(connection_, "", 10, 10));
    surface.reset();
    window.reset();
    connection_.reset();
    EXPECT_FALSE(X11Connection::open(loop_, ":64999"));
}

// Xlib's own handler ends the process at the first frame into a window that is gone.
TEST_F(X11, AResizedWindowTellsAndOneThatIsDestroyedFromOutsideIsClosed)
{
    const Window foreign = other_->makeWindow(0, 0, 50, 50);
    auto window = X11Window::adopt(connection_, foreign);
    ASSERT_TRUE(window);
    EXPECT_EQ(window->width(), 50);
    auto surface = window->makeSurface();
    ASSERT_TRUE(show(*surface, 0xFF0000FF));
    int told = 0;
    window->onResized = [&](int width, int height) {
        ++told;
        EXPECT_EQ(width, 200);
        EXPECT_EQ(height, 120);
    };
    other_->resize(foreign, 200, 120);
    XMoveWindow(*other_, foreign, 5, 5); // no change of size
    other_->sync();
    ASSERT_TRUE(turnUntil([&] { return told > 0 && surface->width() == 200; }));
    ASSERT_TRUE(show(*surface, 0xFF112233));
    EXPECT_TRUE(becomes(foreign, 199, 119, 0x112233u));
    EXPECT_EQ(told, 1);

    int closed = 0;
    window->onClosed = [&] { ++closed; };
    surface->frameMemory();
    other_->destroy(foreign);
    surface->present(); // before anybody here could know
    EXPECT_TRUE(turnUntil([&] { return closed > 0; }));
    turnFor(Seconds(0.1));
    EXPECT_EQ(closed, 1);
    EXPECT_FALSE(surface->wantsFrame());
    EXPECT_EQ(surface->frameMemory().pixels, nullptr);
    surface->present();
    window->coverMonitor({});
    EXPECT_FALSE(X11Window::adopt(connection_, foreign)) << "there is none any more";
    EXPECT_TRUE(connection_->isAlive());
}

TEST_F(X11, TheUserMayCloseAnOwnWindowAndItsTitleIsSet)
{
    const Bitmap icon{1, 1, {0xFF102030}};
    auto window = X11Window::open(connection_, "Gr\xC3\xBC\xC3\x9F", 60, 40, &icon);
    bool closed = false;
    window->onClosed = [&] {
        closed = true;
        window.reset(); // from inside its own callback
    };
    turnFor(Seconds(0.05));
    XTextProperty title{};
    XGetTextProperty(*other_, window->number(), &title, XInternAtom(*other_, "_NET_WM_NAME", False));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(title.value), title.nitems), "Gr\xC3\xBC\xC3\x9F");
    XFree(title.value);
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window->number();
    event.xclient.message_type = XInternAtom(*other_, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = long(XInternAtom(*other_, "WM_DELETE_WINDOW", False));
    XSendEvent(*other_, window->number(), False, 0, &event);
    other_->sync();
    EXPECT_TRUE(turnUntil([&] { return closed; }));
    turnFor(Seconds(0.05));
}

TEST_F(X11, ACoveringWindowGoesWithAMovedPointerOrAKeyButNotWithANudge)
{
    const auto monitors = x11Monitors(*connection_);
    ASSERT_EQ(monitors.size(), 1u);
    EXPECT_EQ(monitors[0].screen.frame, makeRect(0, 0, 640, 480));
    for (const bool byKey : {false, true}) {
        other_->movePointer(100, 100);
        auto window = X11Window::cover(connection_, monitors[0]);
        ASSERT_TRUE(window);
        int dismissed = 0;
        window->onDismissed = [&] { ++dismissed; };
        ASSERT_TRUE(turnUntil([&] { return window->isVisible(); }));
        EXPECT_EQ(grabPointer(), AlreadyGrabbed);
        for (const int x : {102, 108, 112, 95}) {
            other_->movePointer(x, 100);
            turnFor(Seconds(0.02));
        }
        EXPECT_EQ(dismissed, 0) << "10 pixels to the right of where it was first seen, then 7 to the left";
        if (byKey)
            other_->pressAKey(window->number());
        else
            other_->movePointer(102, 111);
        EXPECT_TRUE(turnUntil([&] { return dismissed == 1; }));
    }
    EXPECT_EQ(connection_->errors(), 0u);
}

// Each try to take a grab waits for the server's answer, and with the answer come events: that a frame was read, say.
TEST_F(X11, FramesGoOnWhileSomebodyElseHoldsTheGrabs)
{
    XGrabKeyboard(*other_, other_->root(), True, GrabModeAsync, GrabModeAsync, CurrentTime);
    ASSERT_EQ(grabPointer(), GrabSuccess);
    auto window = X11Window::cover(connection_, x11Monitors(*connection_)[0]);
    const auto surface = window->makeSurface();
    const Seconds end = clock_.now() + Seconds(1.2); // longer than it is tried
    int frames = 0;
    while (clock_.now() < end && show(*surface, 0xFF000000u + unsigned(++frames))) { }
    EXPECT_TRUE(surface->wantsFrame()) << "stalled after " << frames;
}

// Otherwise the desktop would be seen to flash on its way to the first picture, and again on the way back.
TEST_F(X11, ACoveringWindowComesUpLikeTheDesktopAndLeavesAtOnce)
{
    other_->makeWindow(100, 100, 50, 50, 0x336699);
    ASSERT_TRUE(becomes(other_->root(), 120, 120, 0x336699));
    const auto monitors = x11Monitors(*connection_);
    auto window = X11Window::cover(connection_, monitors[0], Seconds(0.5));
    const auto surface = window->makeSurface();
    ASSERT_TRUE(turnUntil([&] { return window->isVisible(); }));
    EXPECT_EQ(other_->pixelAt(window->number(), 120, 120), 0x336699u);
    EXPECT_EQ(other_->pixelAt(other_->root(), 120, 120), 0x336699u);
    ASSERT_TRUE(show(*surface, 0xFFFF0000));
    EXPECT_TRUE(becomes(other_->root(), 120, 120, 0xFF0000)) << "the fade ends by itself";
    bool dismissed = false;
    window->onDismissed = window->onClosed = [&] { dismissed = true; };
    window->leave();
    EXPECT_TRUE(becomes(other_->root(), 120, 120, 0x336699));
    EXPECT_EQ(grabPointer(), GrabSuccess);
    other_->movePointer(300, 300);
    turnFor(Seconds(0.05));
    EXPECT_FALSE(dismissed);
    EXPECT_FALSE(surface->wantsFrame());
    EXPECT_EQ(connection_->errors(), 0u);
}

TEST_F(X11, MonitorsHaveStableNumbersAndAWindowIsOnOneOfThem)
{
    start("800x600x24");
    const std::string xrandr = "DISPLAY=" + server_->display() + " xrandr --setmonitor ";
    if (std::system((xrandr + "L 300/100x600/200+0+0 screen 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "no xrandr here";
    bool changed = false;
    connection_->onScreensChanged = [&] { changed = true; };
    ASSERT_EQ(std::system((xrandr + "R 500/170x400/190+300+0 none").c_str()), 0);
    EXPECT_TRUE(turnUntil([&] { return changed; }));
    const auto monitors = x11Monitors(*connection_), again = x11Monitors(*connection_);
    ASSERT_EQ(monitors.size(), 2u);
    const bool leftFirst = monitors[0].name == "L";
    const auto &left = monitors[leftFirst ? 0 : 1], &right = monitors[leftFirst ? 1 : 0];
    EXPECT_EQ(left.screen.frame.size, (NSSize{300, 600}));
    EXPECT_EQ(right.screen.frame.size, (NSSize{500, 400}));
    if (leftFirst) {
        EXPECT_EQ(right.screen.frame.origin, (NSPoint{300, 200})) << "y upwards from the first one's lower edge";
    }
    const auto number = [](const X11Monitor& monitor) {
        return *monitor.screen.deviceDescription.at("NSScreenNumber").as<std::int64_t>();
    };
    EXPECT_NE(number(left), number(right));
    EXPECT_GT(number(left), 0);
    EXPECT_EQ(number(again[0]), number(monitors[0]));

    const Window foreign = other_->makeWindow(0, 0, 100, 100);
    EXPECT_EQ(x11MonitorOfWindow(*connection_, monitors, foreign)->name, "L");
    XMoveWindow(*other_, foreign, 280, 0);
    other_->sync();
    EXPECT_EQ(x11MonitorOfWindow(*connection_, monitors, foreign)->name, "R") << "its centre counts";
    EXPECT_EQ(x11MonitorOfWindow(*connection_, monitors, 0x7777777), nullptr);
}

// A server without a screen has no power to save, so that its word is the test's.
TEST_F(X11, NothingIsDrawnWhileMonitorsAreOffAndAtOnceWhenTheyAreBack)
{
    struct Power : DisplayPower {
        explicit Power(const bool& off)
            : off(off)
        { }
        bool isOff() override { return off; }
        const bool& off;
    };
    ManualClock clock;
    RunLoop loop(clock);
    const auto connection = X11Connection::open(loop, server_->display());
    EXPECT_FALSE(connection->isPoweredOff()) << "this server doesn't tell";
    bool off = false;
    connection->setPower(std::make_unique<Power>(off));
    const auto window = X11Window::open(connection, "", 64, 64);
    const auto surface = window->makeSurface();
    ASSERT_TRUE(real_.turnUntil([&] { return surface->wantsFrame(); }, 10, [&] { loop.turn(); }));
    const std::pair<bool, double> steps[] = {{true, 2}, {true, 0.2}, {false, 0.25}, {false, 10}};
    for (const auto& [isOff, pause] : steps) {
        off = isOff;
        clock.time += Seconds(pause);
        EXPECT_EQ(surface->wantsFrame(), !isOff) << pause;
    }
}

TEST_F(X11, TellsOfIdlenessAndLeavesTheServerAsItWas)
{
    XSetScreenSaver(*other_, 77, 5, PreferBlanking, AllowExposures);
    other_->sync();
    const auto timeout = [&] {
        int seconds = 0, interval = 0, blanking = 0, exposures = 0;
        XGetScreenSaver(*other_, &seconds, &interval, &blanking, &exposures);
        return seconds + interval * 1000 + blanking * 100'000 + exposures * 1'000'000;
    };
    std::string heard;
    auto idle = X11Idle::make(connection_, Seconds(120));
    ASSERT_TRUE(idle);
    idle->onIdle = [&] { heard += "idle "; };
    idle->onResumed = [&] { heard += "active "; };
    EXPECT_TRUE(turnUntil([&] { return timeout() == 120; })) << "blanks nothing: " << timeout();
    for (int k = 0; k < 2; ++k) {
        XForceScreenSaver(*other_, ScreenSaverActive);
        other_->sync();
        ASSERT_TRUE(turnUntil([&] { return heard.ends_with("idle "); }));
        XForceScreenSaver(*other_, ScreenSaverReset);
        other_->sync();
        ASSERT_TRUE(turnUntil([&] { return heard.ends_with("active "); }));
    }
    EXPECT_EQ(heard, "idle active idle active ");
    idle.reset();
    EXPECT_TRUE(turnUntil([&] { return timeout() == 77 + 5000 + 100'000 + 1'000'000; })) << timeout();
    EXPECT_TRUE(X11Idle::make(connection_, Seconds(1e9))) << "longer than the protocol has numbers for";
    EXPECT_FALSE(X11Idle::isTaken(*connection_));
    const long id = 5;
    XChangeProperty(*other_, other_->root(), XInternAtom(*other_, "_MIT_SCREEN_SAVER_ID", False), XA_INTEGER, 32,
        PropModeReplace, reinterpret_cast<const unsigned char*>(&id), 1);
    other_->sync();
    EXPECT_TRUE(X11Idle::isTaken(*connection_));
    EXPECT_EQ(connection_->errors(), 0u);
}

TEST_F(X11, KnowsWhetherTheActiveWindowFillsTheScreen)
{
    const Window film = other_->makeWindow(0, 0, 100, 100), note = other_->makeWindow(0, 0, 50, 50);
    const auto set = [&](Window window, const char* name, Atom type, std::vector<Atom> words) {
        XChangeProperty(*other_, window, XInternAtom(*other_, name, False), type, 32, PropModeReplace,
            reinterpret_cast<const unsigned char*>(words.data()), int(words.size()));
        other_->sync();
    };
    const Atom full = XInternAtom(*other_, "_NET_WM_STATE_FULLSCREEN", False);
    const Atom above = XInternAtom(*other_, "_NET_WM_STATE_ABOVE", False);
    set(film, "_NET_WM_STATE", XA_ATOM, {above, full});
    set(other_->root(), "_NET_ACTIVE_WINDOW", XA_WINDOW, {film});
    X11FullScreen watch(connection_);
    EXPECT_TRUE(watch.isFullScreen()) << "from the start";
    int changes = 0;
    watch.onChanged = [&](bool) { ++changes; };
    set(film, "_NET_WM_STATE", XA_ATOM, {above});
    EXPECT_TRUE(turnUntil([&] { return !watch.isFullScreen(); }));
    set(film, "_NET_WM_STATE", XA_ATOM, {full});
    EXPECT_TRUE(turnUntil([&] { return watch.isFullScreen(); }));
    set(other_->root(), "_NET_ACTIVE_WINDOW", XA_WINDOW, {note});
    EXPECT_TRUE(turnUntil([&] { return !watch.isFullScreen(); }));
    EXPECT_EQ(changes, 3);
    set(other_->root(), "_NET_ACTIVE_WINDOW", XA_WINDOW, {film});
    EXPECT_TRUE(turnUntil([&] { return watch.isFullScreen(); }));
    other_->destroy(film);
    other_->destroy(note);
    set(other_->root(), "_NET_ACTIVE_WINDOW", XA_WINDOW, {note});
    EXPECT_TRUE(turnUntil([&] { return !watch.isFullScreen(); })) << "a window that is gone already";
}

} // namespace
} // namespace vitrel
