// Against a compositor in the test's hand: what it lacks, what it asks for, when it shows, and how it goes away.
#include "platform/appkit/wayland/WaylandIdle.h"
#include "platform/appkit/wayland/WaylandWindow.h"
#include "support/RealLoop.h"
#include "wayland/FakeCompositor.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using Globals = std::set<std::string>;
using Input = FakeCompositor::Input;

Globals without(const Globals& missing)
{
    Globals globals = FakeCompositor::kAll;
    for (const auto& name : missing)
        globals.erase(name);
    return globals;
}

class OnFake : public testing::Test
{
protected:
    void start(Globals globals = FakeCompositor::kAll, int scale = 1)
    {
        surface_.reset();
        window_.reset();
        connection_.reset();
        compositor_ = std::make_unique<FakeCompositor>(std::move(globals), scale);
        connection_ = WaylandConnection::open(loop_, compositor_->display());
        ASSERT_TRUE(connection_);
    }
    void cover(WaylandWindow::Entrance entrance = WaylandWindow::Entrance::Gentle)
    {
        window_ = WaylandWindow::cover(connection_, connection_->outputs().at(0), entrance);
        ASSERT_TRUE(window_);
        surface_ = window_->makeSurface();
    }
    // The loop's clock stands; what comes from the compositor's thread is waited for.
    template <class Done> bool turnUntil(Done done)
    {
        return RealLoop().turnUntil(done, 10, [this] { loop_.turn(); });
    }
    // Until all that the compositor has sent has been heard: it answers in order.
    void settle()
    {
        compositor_->state();
        compositor_->state();
        for (int k = 0; k < 3; ++k) {
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
            loop_.turn();
        }
    }
    bool draw(std::uint32_t colour)
    {
        const auto memory = surface_->wantsFrame() ? surface_->frameMemory() : FrameMemory{};
        if (!memory.pixels)
            return false;
        for (int y = 0; y < surface_->height(); ++y)
            std::fill_n(memory.pixels + std::size_t(y) * memory.wordsPerRow, surface_->width(), colour);
        surface_->present();
        return true;
    }
    // The compositor's picture, once it has made another commit than it had.
    FakeCompositor::Picture nextPicture(int& commits)
    {
        EXPECT_TRUE(turnUntil([&] { return compositor_->state().commits > commits; }));
        commits = compositor_->state().commits;
        return compositor_->state().picture.value_or(FakeCompositor::Picture());
    }
    void pass(double seconds) { clock_.time += Seconds(seconds); }

    ManualClock clock_;
    RunLoop loop_{clock_};
    std::unique_ptr<FakeCompositor> compositor_;
    std::shared_ptr<WaylandConnection> connection_;
    std::unique_ptr<WaylandWindow> window_;
    std::unique_ptr<Surface> surface_;
};

TEST_F(OnFake, WhatACompositorLacksIsNamedAndNoWindowIsMadeWithoutIt)
{
    const std::tuple<Globals, const char*, const char*, bool> cases[] = {
        {{}, "", "", true},
        {{"zwlr_layer_shell_v1"}, "", "", false},
        {{"xdg_wm_base"}, "", "xdg_wm_base", true},
        {{"xdg_wm_base", "zwlr_layer_shell_v1"}, "xdg_wm_base", "xdg_wm_base", false},
        {{"wl_shm"}, "wl_shm", "wl_shm", true},
        {{"wl_shm", "wl_compositor", "xdg_wm_base", "wl_seat"}, "wl_compositor, wl_shm",
            "wl_compositor, wl_shm, xdg_wm_base", true},
    };
    for (const auto& [lacks, toCover, inWindow, isLayer] : cases) {
        start(without(lacks));
        EXPECT_EQ(connection_->missing(true), toCover);
        EXPECT_EQ(connection_->missing(false), inWindow);
        ASSERT_EQ(connection_->outputs().size(), 1u);
        const auto window = WaylandWindow::cover(connection_, connection_->outputs()[0]);
        EXPECT_EQ(window != nullptr, std::string(toCover).empty()) << toCover;
        if (window) {
            EXPECT_EQ(compositor_->state().fullScreen, !isLayer) << testing::PrintToString(lacks);
        }
        EXPECT_EQ(WaylandWindow::open(connection_, "", 10, 10) != nullptr, std::string(inWindow).empty()) << inWindow;
        EXPECT_FALSE(WaylandIdle::make(connection_, Seconds(1))) << "it has neither protocol";
    }
    start(without({"wl_output"}));
    EXPECT_TRUE(connection_->outputs().empty());
}

TEST_F(OnFake, ASizeIsTakenAsItComesUnlessItMakesNoSense)
{
    constexpr std::int32_t high = std::numeric_limits<std::int32_t>::min(); // 2 to the 31st, unsigned
    const std::tuple<std::int32_t, std::int32_t, int, int, int, const char*> cases[] = {
        {300, 200, 1, 300, 200, "as told"},
        {300, 200, 2, 600, 400, "in the compositor's units"},
        {0, 0, 1, 640, 480, "our choice is the whole output"},
        {0, 0, 2, 640, 480, "which is 320x240 units there"},
        {high, high, 1, 640, 480, "2147483648 or less than nothing"},
        {-1, 200, 1, 640, 200, "one side alone"},
        {16384, 16384, 1, 640, 480, "a gibibyte for a picture"},
        {16384, 1, 1, 16384, 1, "long, but small"},
    };
    for (const bool isLayer : {true, false}) {
        for (const auto& [width, height, scale, pixelsWide, pixelsHigh, why] : cases) {
            start(isLayer ? FakeCompositor::kAll : without({"zwlr_layer_shell_v1"}), scale);
            compositor_->firstWidth = width;
            compositor_->firstHeight = height;
            cover();
            EXPECT_EQ(std::pair(surface_->width(), surface_->height()), std::pair(pixelsWide, pixelsHigh)) << why;
            int commits = compositor_->state().commits;
            ASSERT_TRUE(draw(0xFFFFFFFF)) << why;
            const auto picture = nextPicture(commits);
            EXPECT_EQ(std::tie(picture.width, picture.height, picture.scale), std::tie(pixelsWide, pixelsHigh, scale))
                << why;
            EXPECT_TRUE(compositor_->state().acknowledged);
            std::string told;
            window_->onResized = [&](int w, int h) { told += std::to_string(w) + "x" + std::to_string(h) + " "; };
            compositor_->configure(150, 75);
            compositor_->configure(150, 75);
            settle();
            EXPECT_EQ(told, std::to_string(150 * scale) + "x" + std::to_string(75 * scale) + " ") << why;
        }
    }
}

// The output has 640 pixels, and the compositor calls a scale of 1.25 or 1.5 a 2.
TEST_F(OnFake, AFractionalScaleGivesTheOutputsOwnPixels)
{
    auto globals = FakeCompositor::kAll;
    globals.insert("fractions");
    start(globals, 2);
    compositor_->firstWidth = 512;
    compositor_->firstHeight = 384;
    cover(WaylandWindow::Entrance::AtOnce);
    const auto shown = [&] {
        settle();
        compositor_->showFrames();
        settle();
        int commits = compositor_->state().commits;
        EXPECT_TRUE(draw(0xFFFFFFFF));
        const auto picture = nextPicture(commits);
        return std::array{picture.width, picture.height, picture.scale, picture.shownWidth, picture.shownHeight};
    };
    EXPECT_EQ(shown(), (std::array{640, 480, 1, 512, 384})) << "before the compositor has said the scale";
    compositor_->preferScale(120); // as some do before they know where the window is
    EXPECT_EQ(shown(), (std::array{640, 480, 1, 512, 384}));
    compositor_->configure(427, 320);
    EXPECT_EQ(shown(), (std::array{640, 480, 1, 427, 320})) << "two thirds, and not 641 pixels";
    compositor_->configure(320, 240);
    EXPECT_EQ(shown(), (std::array{640, 480, 1, 320, 240}));
    compositor_->preferScale(150);
    compositor_->configure(512, 300);
    EXPECT_EQ(shown(), (std::array{640, 375, 1, 512, 300})) << "of another shape than the output";
    compositor_->preferScale(180);
    compositor_->configure(333, 101);
    EXPECT_EQ(shown(), (std::array{500, 152, 1, 333, 101})) << "no whole output: halves upwards, 499.5 and 151.5";
    for (const std::uint32_t scale : {0u, 1u, std::numeric_limits<std::uint32_t>::max()}) {
        compositor_->preferScale(scale);
        settle();
        EXPECT_GT(surface_->width() * surface_->height(), 0) << scale;
    }
}

// A still picture isn't drawn anew by anybody else, and must come up all the same.
TEST_F(OnFake, TheFirstPictureComesUpAndThenAtMostTwoAreOnTheirWay)
{
    start();
    cover();
    int commits = compositor_->state().commits;
    ASSERT_TRUE(draw(0xFF804020));
    auto picture = nextPicture(commits);
    EXPECT_TRUE(picture.hasAlpha);
    EXPECT_EQ(picture.pixel, 0u) << "transparent";
    pass(0.25);
    compositor_->showFrames();
    picture = nextPicture(commits);
    EXPECT_EQ(picture.pixel, 0x80402010u) << "half of each, premultiplied";
    ASSERT_TRUE(draw(0xFF0000FF)) << "a new one is taken meanwhile";
    EXPECT_FALSE(surface_->wantsFrame()) << "one at a time";
    pass(0.125);
    compositor_->showFrames();
    EXPECT_EQ(nextPicture(commits).pixel, 0xC00000BFu) << "three quarters of the new one";
    pass(0.2);
    compositor_->showFrames();
    picture = nextPicture(commits);
    EXPECT_FALSE(picture.hasAlpha);
    EXPECT_EQ(picture.pixel, 0xFF0000FFu);
    compositor_->showFrames();
    settle();
    EXPECT_EQ(compositor_->state().commits, commits) << "it stands still now";

    ASSERT_TRUE(draw(1));
    ASSERT_TRUE(draw(2)) << "one that waits behind";
    EXPECT_FALSE(draw(3));
    settle();
    EXPECT_EQ(compositor_->state().framesWaiting, 2);
    compositor_->showFrames();
    ASSERT_TRUE(turnUntil([&] { return surface_->wantsFrame(); }));
    ASSERT_TRUE(draw(4));
    commits = 0;
    settle();
    EXPECT_EQ(nextPicture(commits).pixel, 4u);

    surface_->setAlphaValue(0);
    EXPECT_FALSE(surface_->wantsFrame());
    picture = nextPicture(commits);
    EXPECT_TRUE(picture.hasAlpha);
    EXPECT_EQ(picture.pixel, 0u) << "what lies beneath shows";

    start();
    commits = 1;
    cover(WaylandWindow::Entrance::AtOnce);
    picture = nextPicture(commits);
    EXPECT_FALSE(picture.hasAlpha);
    EXPECT_EQ(picture.pixel, 0u) << "where the saver is on already an output is black at once";
    EXPECT_EQ(picture.width, 640);
    ASSERT_TRUE(draw(0xFF102030));
    EXPECT_EQ(nextPicture(commits).pixel, 0xFF102030u);
}

TEST_F(OnFake, InputDismissesButNotANudgeNorWhatWasHeldAlready)
{
    struct Step {
        Input what;
        double x = 0, y = 0;
    };
    const std::tuple<std::vector<Step>, int, const char*> cases[] = {
        {{{Input::Enter, 100, 100}, {Input::Motion, 110, 90}, {Input::Motion, 90, 110}}, 0, "10 pixels from the first"},
        {{{Input::Enter, 100, 100}, {Input::Motion, 106, 100}, {Input::Motion, 111, 100}}, 1, "11 in two steps"},
        {{{Input::Enter, 100, 100}, {Input::Motion, 100, 80}, {Input::Motion, 300, 80}}, 1, "told once"},
        {{{Input::HeldKeys}, {Input::KeyUp}}, 0, "a key let go"},
        {{{Input::HeldKeys}, {Input::Key}}, 1, "a key"},
        {{{Input::Enter, 5, 5}, {Input::ButtonUp}}, 0, "a button let go"},
        {{{Input::Enter, 5, 5}, {Input::Button}}, 1, "a button"},
        {{{Input::Enter, 5, 5}, {Input::Axis}}, 1, "a wheel"},
        {{{Input::Touch, 5, 5}}, 1, "a finger"},
    };
    for (const bool drawn : {false, true}) {
        for (const auto& [steps, dismissed, why] : cases) {
            start();
            cover();
            int told = 0, commits = compositor_->state().commits;
            window_->onDismissed = [&] { ++told; };
            if (drawn) {
                ASSERT_TRUE(draw(0xFFFFFFFF));
                nextPicture(commits);
                pass(0.25);
                compositor_->showFrames();
                ASSERT_EQ(nextPicture(commits).pixel >> 24, 0x80u);
            }
            for (const auto& step : steps)
                compositor_->input(step.what, step.x, step.y);
            settle();
            EXPECT_EQ(told, dismissed) << why;
            EXPECT_EQ(compositor_->state().cursorHidden, steps[0].what == Input::Enter) << why;
            if (drawn && dismissed) {
                EXPECT_EQ(nextPicture(commits).pixel, 0u) << why << ": what was coming up goes at once";
                EXPECT_FALSE(surface_->wantsFrame());
            }
        }
    }
    // An ordinary window isn't ended by what is done to it.
    start();
    window_ = WaylandWindow::open(connection_, "", 100, 100);
    int told = 0;
    window_->onDismissed = window_->onClosed = [&] { ++told; };
    compositor_->input(Input::HeldKeys);
    compositor_->input(Input::Key);
    settle();
    EXPECT_EQ(told, 0);
    compositor_->closeSurface();
    EXPECT_TRUE(turnUntil([&] { return told == 1; })) << "but by its close button";
}

TEST_F(OnFake, AnOutputThatGoesIsToldOnceAndAWindowThatLeavesTellsNothing)
{
    for (const bool hadKeys : {true, false}) {
        start();
        cover();
        if (hadKeys)
            compositor_->input(Input::HeldKeys);
        settle();
        int told = 0;
        connection_->onOutputsChanged = [&] { ++told; };
        compositor_->removeOutput();
        EXPECT_TRUE(turnUntil([&] { return told == 1; }));
        settle();
        EXPECT_EQ(compositor_->state().keyWishes, hadKeys ? "1" : "101")
            << "the keys may have gone with another window";
    }
    int told = 1;
    connection_->onOutputsChanged = [&] { ++told; };
    EXPECT_TRUE(connection_->outputs().empty());
    EXPECT_TRUE(draw(0xFFFFFFFF)) << "the window lives on until it is closed";
    settle();
    EXPECT_EQ(told, 1);

    window_->onClosed = window_->onDismissed = [&] { ++told; };
    window_->leave();
    settle();
    EXPECT_EQ(compositor_->state().surfaces, 0) << "gone at once, though the window and its surface live on";
    EXPECT_FALSE(surface_->wantsFrame());
    surface_->setAlphaValue(0);
    EXPECT_EQ(told, 1);
}

TEST_F(OnFake, AWindowOrACompositorThatGoesIsToldOnceAndNothingEnds)
{
    for (const bool byCompositor : {false, true}) {
        start();
        cover();
        ASSERT_TRUE(draw(0xFFFFFFFF));
        settle();
        std::string log;
        window_->onClosed = [&] {
            log += 'c';
            window_.reset(); // from inside its own callback
        };
        connection_->onLost = [&] { log += 'l'; };
        surface_->frameMemory();
        if (byCompositor)
            compositor_->end();
        else
            compositor_->closeSurface();
        surface_->present();
        const std::string expected = byCompositor ? "cl" : "c";
        EXPECT_TRUE(turnUntil([&] { return log == expected; })) << log;
        loop_.turn();
        EXPECT_EQ(log, expected);
        EXPECT_EQ(connection_->isAlive(), !byCompositor);
        EXPECT_FALSE(surface_->wantsFrame());
        EXPECT_EQ(surface_->frameMemory().pixels, nullptr);
        surface_->present();
        surface_->setAlphaValue(0);
        if (byCompositor) {
            EXPECT_TRUE(connection_->outputs().empty());
            EXPECT_FALSE(WaylandWindow::open(connection_, "", 10, 10));
            EXPECT_FALSE(WaylandConnection::open(loop_, compositor_->display()));
        } else {
            EXPECT_EQ(compositor_->state().surfaces, 0) << "nothing is left of it";
        }
    }
}

WaylandOutput output(
    const std::string& name, const std::string& make, const std::string& model, const std::string& description)
{
    WaylandOutput output;
    std::tie(output.name, output.make, output.model, output.description) = std::tie(name, make, model, description);
    return output;
}

// The companion answers for a display by its number, so it must be the same tomorrow, and no other's.
TEST(WaylandOutput, HasANumberThatIsItsDisplaysAlone)
{
    const auto dell = output("DP-1", "Dell Inc.", "DELL U2720Q", "Dell Inc. DELL U2720Q 5QRT1 (DP-1)");
    const std::tuple<WaylandOutput, bool, const char*> cases[] = {
        {dell, true, "the same again"},
        {output("DP-2", "Dell Inc.", "DELL U2720Q", "Dell Inc. DELL U2720Q 5QRT1 (DP-2)"), true, "another connector"},
        {output("DP-1", "Dell Inc.", "DELL U2720Q", "Dell Inc. DELL U2720Q 7XXX2 (DP-1)"), false, "another serial"},
        {output("DP-1", "Dell Inc.", "DELL U2719", "Dell Inc. DELL U2719 5QRT1 (DP-1)"), false, "another model"},
        {output("DP-1", "Dell Inc.", "DELL U2720Q", "Dell Inc. DELL U2720Q (DP-1)"), false, "no serial"},
        {output("DP-1", "", "", ""), false, "nothing but the connector"},
    };
    std::vector<WaylandOutput> one{dell};
    identifyOutputs(one);
    EXPECT_NE(one[0].information.number, 0u);
    for (const auto& [other, same, why] : cases) {
        std::vector<WaylandOutput> alone{other};
        identifyOutputs(alone);
        EXPECT_EQ(alone[0].information.number == one[0].information.number, same) << why;
        EXPECT_EQ(alone[0].information.uuid == one[0].information.uuid, same) << why;
        EXPECT_EQ(*alone[0].screen.deviceDescription.at("NSScreenNumber").as<std::int64_t>(),
            std::int64_t(alone[0].information.number))
            << why;
    }

    // Without a serial, or with that of another, the connector tells them apart.
    for (const char* serial : {"", " 5QRT1", " Unknown"}) {
        std::vector<WaylandOutput> two;
        for (const std::string name : {"DP-1", "DP-2"})
            two.push_back(output(name, "AOC", "Q27", "AOC Q27" + std::string(serial) + " (" + name + ")"));
        identifyOutputs(two);
        EXPECT_NE(two[0].information.number, two[1].information.number) << serial;
    }
}

TEST(WaylandOutput, SaysOfItsDisplayWhatIsKnown)
{
    const std::tuple<WaylandOutput, std::uint32_t, std::uint32_t, std::uint32_t, const char*> cases[] = {
        // A is 1, O 15, C 3: 1 << 10 | 15 << 5 | 3.
        {output("DP-1", "AOC", "0x2701", "AOC 0x2701 0x0000010A (DP-1)"), 1507, 0x2701, 0x10A, "AOC 0x2701"},
        {output("DP-1", "AOC", "0x2701", "AOC 0x2701 0x00000000 (DP-1)"), 1507, 0x2701, 0, "AOC 0x2701"},
        {output("DP-1", "Unknown", "Unknown", "Unknown Unknown Unknown (DP-1)"), 0, 0, 0, "DP-1"},
    };
    for (const auto& [given, vendor, model, serial, name] : cases) {
        std::vector<WaylandOutput> one{given};
        identifyOutputs(one);
        const auto& information = one[0].information;
        EXPECT_EQ(std::tie(information.vendor, information.model, information.serial), std::tie(vendor, model, serial))
            << given.description;
        EXPECT_EQ(one[0].screen.localizedName, name);
        EXPECT_EQ(information.info.dictionary() != nullptr, vendor != 0) << "nothing to ask of an unknown one";
    }
}

} // namespace
} // namespace vitrel
