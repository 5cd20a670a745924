#include "platform/appkit/x11/X11Idle.h"
#include "x11/X11Fixture.h"

#include <gmock/gmock.h>

#include <X11/Xatom.h>

namespace vitrel {
namespace {

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
