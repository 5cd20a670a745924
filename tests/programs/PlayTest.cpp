// The program on a server without a screen, from outside: what is on the screen, and how it ends.
#include "programs/Program.h"
#include "x11/Onlooker.h"
#include "x11/XvfbServer.h"

#include <gmock/gmock.h>

#include <functional>
#include <sstream>

namespace vitrel {
namespace {

// The whole picture in one colour, a text's length tells which: composed so that what is on the screen can be told.
constexpr const char* kColour = R"json({"inputs": {"Colour": "Clear.inputColor"},
  "patches": {"Clear": {"class": "QCClear", "inputs": {"inputColor": "%"}}}})json";

class Play : public testing::Test
{
protected:
    void SetUp() override
    {
        server_ = std::make_unique<XvfbServer>("640x480x24");
        if (server_->display().empty())
            GTEST_SKIP() << "no Xvfb here";
        screen_ = std::make_unique<Onlooker>(server_->display());
        ASSERT_TRUE(*screen_);
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
        XSetIOErrorHandler([](Display*) { return 0; });
        screen_->movePointer(100, 100);
    }

    // In the text form.
    std::string written(const std::string& colour, const std::string& name)
    {
        std::string text = kColour;
        return folder_.write(name, text.replace(text.find('%'), 1, colour));
    }
    std::string composition(const std::string& colour, const std::string& name = "colour.qtz")
    {
        const std::string out = folder_ / name;
        Program make({"make", written(colour, name + ".json"), out});
        EXPECT_EQ(make.wait(), 0) << make.errors();
        return out;
    }
    // It is asked to end, and does so in good order.
    static void endsInOrder(Program& program, int signal = SIGTERM)
    {
        program.signal(signal);
        EXPECT_EQ(program.wait(), 0) << program.errors();
    }
    std::unique_ptr<Program> vitrel(std::vector<std::string> words, Program::Environment more = {})
    {
        more["DISPLAY"] = server_->display();
        return std::make_unique<Program>(std::move(words), std::move(more));
    }
    unsigned long pixelAt(int x, int y) const { return screen_->pixelAt(screen_->root(), x, y); }
    static bool until(const std::function<bool()>& done) { return RealLoop().turnUntil(done); }
    bool becomes(int x, int y, unsigned long colour, Window window = None)
    {
        return until([&] { return screen_->pixelAt(window ? window : screen_->root(), x, y) == colour; });
    }
    Window topWindow()
    {
        Window parent = 0, top = 0, *children = nullptr, ignored = 0;
        unsigned count = 0;
        XQueryTree(*screen_, screen_->root(), &ignored, &parent, &children, &count);
        if (count)
            top = children[count - 1];
        XFree(children);
        return top;
    }

    TemporaryFolder folder_;
    std::unique_ptr<XvfbServer> server_;
    std::unique_ptr<Onlooker> screen_;
};

TEST_F(Play, AWindowShowsTheCompositionAndEndsInGoodOrderWithinASecond)
{
    const std::string file = composition("#2040ff");
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        auto program = vitrel({"--window", "200x100", file});
        ASSERT_TRUE(becomes(199, 99, 0x2040FF)) << program->errors();
        EXPECT_EQ(pixelAt(210, 50), 0u) << "no larger than asked for";
        program->signal(number);
        EXPECT_TRUE(program->endsWell(1.5)) << number << program->errors();
    }
}

// What another process stores is seen where it plays, confined and on every display, and taken back likewise.
TEST_F(Play, AnOptionIsSeenAtOnceByASaverThatRuns)
{
    const std::string file = composition("#2040ff");
    const Program::Environment settings{{"XDG_CONFIG_HOME", folder_ / "settings"}};
    const auto set = [&](const char* option) { EXPECT_EQ(Program({"options", file, option}, settings).wait(), 0); };
    set("Colour=#ffff00");
    for (const std::string window : {"--window=200x100", "--no-fade"}) {
        auto program = vitrel({window, file}, settings);
        ASSERT_TRUE(becomes(100, 50, 0xFFFF00)) << program->errors();
        set("Colour=#00ff00");
        EXPECT_TRUE(becomes(100, 50, 0x00FF00)) << window;
        set("Colour=");
        EXPECT_TRUE(becomes(100, 50, 0x2040FF)) << window;
        set("Colour=#ffff00");
        endsInOrder(*program);
    }
}

TEST_F(Play, AReplayFeedsAWindowAsItHappened)
{
    const std::string trace = folder_.write("t.jsonl",
        R"({"t":0,"view":7,"key":"Colour","value":[1,0,0,1],"date":1000}
{"t":1.5,"view":7,"key":"Colour","value":[0,1,0,1]}
)");
    auto program = vitrel({"--window", "200x100", "--replay", trace, composition("#2040ff")});
    ASSERT_TRUE(becomes(100, 50, 0xFF0000)) << program->errors();
    EXPECT_TRUE(becomes(100, 50, 0x00FF00)) << "in its time";
    endsInOrder(*program);
    auto full = vitrel({"--replay", trace, composition("#2040ff")});
    EXPECT_TRUE(becomes(300, 240, 0x00FF00)) << "on a full screen likewise: " << full->errors();
    endsInOrder(*full);
}

TEST_F(Play, InAnotherProgramsWindowItFollowsItsSizeAndGoesWithIt)
{
    const std::string file = composition("#00ff00");
    const std::pair<std::vector<std::string>, bool> cases[]
        = {{{"--window-id"}, false}, {{"-root", "-window-id"}, true}, {{"--root"}, true}, {{"-root"}, true}};
    for (const auto& [words, inEnvironment] : cases) {
        const Window window = screen_->makeWindow(50, 60, 100, 80);
        std::vector<std::string> line = words;
        if (words.back().ends_with("window-id"))
            line.push_back(std::to_string(window));
        line.push_back(file);
        std::ostringstream number;
        number << std::showbase << std::hex << window;
        auto program = vitrel(
            line, inEnvironment ? Program::Environment{{"XSCREENSAVER_WINDOW", number.str()}} : Program::Environment());
        ASSERT_TRUE(becomes(99, 79, 0x00FF00, window)) << words[0] << program->errors();
        EXPECT_EQ(pixelAt(40, 60), 0u) << "beside it";
        screen_->resize(window, 300, 200);
        EXPECT_TRUE(becomes(299, 199, 0x00FF00, window));
        screen_->destroy(window);
        EXPECT_TRUE(program->endsWell()) << words[0] << program->errors();
    }
}

// It would be started again at once, without end.
TEST_F(Play, ForADaemonNothingThatIsWrongEndsItByItself)
{
    const Window window = screen_->makeWindow(0, 0, 100, 80, 0x123456);
    auto program
        = vitrel({"--root", folder_.write("junk.qtz", "junk")}, {{"XSCREENSAVER_WINDOW", std::to_string(window)}});
    ASSERT_TRUE(becomes(50, 40, 0, window));
    EXPECT_TRUE(program->saidOneError()) << program->errors();
    EXPECT_EQ(program->wait(0.3), -1000) << "it stays";
    endsInOrder(*program);
}

TEST_F(Play, AServerThatGoesAwayIsNoFailure)
{
    for (const bool fullScreen : {false, true}) {
        if (fullScreen)
            SetUp();
        auto program = fullScreen ? vitrel({composition("#ff8000")}) : vitrel({"--window", composition("#ff8000")});
        ASSERT_TRUE(becomes(100, 100, 0xFF8000)) << program->errors();
        server_->kill();
        EXPECT_EQ(program->wait(), 0) << program->errors();
        screen_.reset();
    }
}

TEST_F(Play, WatchingLoadsWhatAnEditorPutInThePlaceOfTheFileAndOutlivesNonsense)
{
    const std::string kHalfWritten = ":1:14: error: invalid string: missing closing quote; expected string literal\n";
    for (const std::string name : {"live.qtz", "live.json"}) {
        const auto save = [&](const char* colour) { // by renaming, or in place
            return name == "live.qtz" ? composition(colour, name) : written(colour, name);
        };
        auto program = vitrel({"--window", "400x300", "--watch", save("#ff0000")});
        ASSERT_TRUE(becomes(10, 10, 0xFF0000)) << program->errors();
        save("#0000ff");
        EXPECT_TRUE(becomes(10, 10, 0x0000FF));
        folder_.write(name, "{\"patches\": {\"half writ");
        EXPECT_TRUE(until([&] { return program->errors() == folder_ / name + kHalfWritten; })) << program->errors();
        EXPECT_TRUE(until([&] { return pixelAt(30, 280) != 0x0000FFu; })) << "so it says on the picture";
        EXPECT_EQ(pixelAt(10, 10), 0x0000FFu) << "the last good one stays";
        save("#00ff00");
        EXPECT_TRUE(becomes(10, 10, 0x00FF00));
        EXPECT_EQ(pixelAt(30, 280), 0x00FF00u) << "all is well again";
        endsInOrder(*program);
    }
}

using FullScreen = Play;

// The left one is 300 pixels wide, the right one the rest.
class TwoMonitors : public Play
{
protected:
    void SetUp() override
    {
        Play::SetUp();
        if (!IsSkipped() && (!xrandr("--setmonitor L 300/100x480/100+0+0 screen") || !showRight()))
            GTEST_SKIP() << "no xrandr here";
    }
    bool xrandr(const std::string& words) const
    {
        return std::system(("DISPLAY=" + server_->display() + " xrandr " + words + " >/dev/null 2>&1").c_str()) == 0;
    }
    bool showRight() const { return xrandr("--setmonitor R 340/100x480/100+300+0 none"); }
    bool bothBecome(unsigned long colour) { return becomes(150, 240, colour) && becomes(450, 240, colour); }
};

TEST_F(TwoMonitors, EachMonitorHasAProcessThatIsStartedAgainAndAKeyEndsAll)
{
    const std::string trace = folder_ / "trace.jsonl";
    auto program = vitrel({composition("#8000ff"), "--trace", trace, "--input", "Colour=[0,1,1,1]"});
    ASSERT_TRUE(bothBecome(0x00FFFF)) << program->errors();
    const auto before = program->children();
    ASSERT_EQ(before.size(), 2u);
    for (const pid_t child : before) {
        const auto status = TemporaryFolder::read("/proc/" + std::to_string(child) + "/status");
        EXPECT_NE(status.find("Seccomp:\t2"), status.npos) << "it is confined";
        EXPECT_NE(status.find("NoNewPrivs:\t1"), status.npos);
    }
    ::kill(before[0], SIGKILL);
    ASSERT_TRUE(until([&] {
        const auto now = program->children();
        return now.size() == 2 && std::count(now.begin(), now.end(), before[0]) == 0;
    })) << "within a second or so";
    EXPECT_TRUE(bothBecome(0x00FFFF));
    EXPECT_THAT(program->children(), testing::Contains(before[1])) << "the other went on";
    screen_->pressAKey(topWindow());
    EXPECT_EQ(program->wait(2), 0) << program->errors();
    EXPECT_TRUE(becomes(150, 240, 0)) << "the desktop is back";
}

// Each display would pick for itself, and the last pick would come to all of them at the next track.
TEST_F(TwoMonitors, WhatIsChosenAtRandomIsOneForAllDisplaysAndForGood)
{
    TemporaryFolder settings;
    const Program::Environment environment{{"XDG_CONFIG_HOME", settings.path()}};
    std::vector<std::string> words{"compositions", "add"};
    constexpr unsigned long kBlue = 0xFF;
    for (int k = 0; k < 40; ++k) { // two displays by chance alike: one time in forty
        char colour[10];
        std::snprintf(colour, sizeof colour, "#%02x%02xff", 6 * k, 3 * k);
        words.push_back(composition(colour, std::to_string(k) + ".qtz"));
    }
    ASSERT_EQ(Program(words, environment).wait(), 0);
    ASSERT_EQ(Program({"compositions", "random", "on"}, environment).wait(), 0);
    auto program = vitrel({}, environment);
    const auto left = [&] { return pixelAt(150, 240); };
    ASSERT_TRUE(until([&] { return (left() & 0xFF) == kBlue; })) << program->errors();
    const auto chosen = left();
    EXPECT_TRUE(becomes(450, 240, chosen));
    const auto before = program->children();
    for (const pid_t child : before)
        ::kill(child, SIGKILL);
    ASSERT_TRUE(until([&] {
        const auto now = program->children();
        return now.size() == 2 && now[0] != before[0] && now[1] != before[1];
    }));
    EXPECT_TRUE(bothBecome(chosen)) << "a display that starts again, too";
    Program list({"compositions", "list"}, environment);
    ASSERT_EQ(list.wait(), 0);
    const std::string active = "* " + words[2 + ((chosen >> 16) & 0xFF) / 6];
    EXPECT_NE(list.output().find(active + "\n"), std::string::npos) << "and the window shows which it is";
    endsInOrder(*program);
}

// After three crashes the file is to blame: the default composition plays, with the clock over a dark ground.
TEST_F(FullScreen, AfterThreeCrashesTheDefaultCompositionPlays)
{
    auto program = vitrel({composition("#ffff00")});
    for (int crash = 0; crash < 3; ++crash) {
        ASSERT_TRUE(becomes(320, 240, 0xFFFF00)) << program->errors();
        const auto children = program->children();
        ASSERT_EQ(children.size(), 1u);
        ::kill(children[0], SIGSEGV);
        ASSERT_TRUE(until([&] { return program->children() != children; }));
    }
    EXPECT_TRUE(until([&] {
        const auto pixel = pixelAt(320, 240);
        return pixel != 0 && pixel != 0xFFFF00 && pixel != 0xBAD;
    }));
    endsInOrder(*program);
}

TEST_F(TwoMonitors, MonitorsThatComeAndGoGetAndLoseTheirProcess)
{
    auto program = vitrel({composition("#204060")});
    ASSERT_TRUE(bothBecome(0x204060));
    ASSERT_TRUE(xrandr("--delmonitor R"));
    EXPECT_TRUE(until([&] { return program->children().size() == 1; }));
    EXPECT_TRUE(becomes(450, 240, 0));
    EXPECT_EQ(pixelAt(150, 240), 0x204060u);
    ASSERT_TRUE(showRight());
    EXPECT_TRUE(becomes(450, 240, 0x204060)) << program->errors();
    for (const int x : {190, 200, 220}) { // the first is only where it is
        screen_->movePointer(x, 200);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_EQ(program->wait(), 0) << "a moved mouse ends it: " << program->errors();
}

TEST_F(FullScreen, OnAnIdleDesktopItPlaysUntilTheUserIsBackAndAgainAfterACrash)
{
    auto program = vitrel({"idle", "--after", "0.02", "--", "--no-fade", composition("#c04020")});
    ASSERT_TRUE(becomes(320, 240, 0xC04020)) << program->errors();
    const auto player = program->children();
    ASSERT_EQ(player.size(), 1u);
    ::kill(player[0], SIGKILL);
    EXPECT_TRUE(until([&] { return program->children() != player && pixelAt(320, 240) == 0xC04020; }));
    screen_->pressAKey(topWindow());
    EXPECT_TRUE(becomes(320, 240, 0)) << "dismissed";
    EXPECT_TRUE(until([&] { return program->children().empty(); }));
    // A key that is sent is no input to the server; then comes the next idle time.
    for (const int mode : {ScreenSaverReset, ScreenSaverActive})
        XForceScreenSaver(*screen_, mode);
    screen_->sync();
    EXPECT_TRUE(becomes(320, 240, 0xC04020));
    endsInOrder(*program);
    EXPECT_TRUE(becomes(320, 240, 0));
}

std::string plist(const std::string& members)
{
    return "<plist><dict>" + members + "</dict></plist>";
}

TEST_F(TwoMonitors, CoversTheDisplaysThatTheUserHasChosenUnlessTheCommandLineSaysOtherwise)
{
    const TemporaryFolder settings;
    settings.write("vitrel/org.vitrel.Vitrel.plist",
        plist("<key>Start Displays</key><array><string>R</string></array><key>Fade In "
              "Seconds</key><integer>0</integer>"));
    const Program::Environment environment{{"XDG_CONFIG_HOME", settings.path()}};
    {
        auto program = vitrel({composition("#30a060")}, environment);
        ASSERT_TRUE(becomes(450, 240, 0x30A060)) << program->errors();
        EXPECT_EQ(pixelAt(150, 240), 0u);
        EXPECT_EQ(program->children().size(), 1u);
        endsInOrder(*program);
    }
    auto program = vitrel({composition("#30a060"), "--monitors", "all"}, environment);
    EXPECT_TRUE(bothBecome(0x30A060)) << program->errors();
    endsInOrder(*program);
}

// It waits for what the settings say now, not for what they said when it began.
TEST_F(FullScreen, AnIdleDesktopIsWaitedForAsLongAsTheSettingsSay)
{
    const TemporaryFolder settings;
    const auto choose = [&](const std::string& minutes) {
        settings.write(
            "vitrel/org.vitrel.Vitrel.plist", plist("<key>Start After Minutes</key><real>" + minutes + "</real>"));
    };
    choose("500");
    auto program = vitrel({"idle", "--", "--no-fade", composition("#4020c0")}, {{"XDG_CONFIG_HOME", settings.path()}});
    const auto timeout = [&] {
        int seconds = 0, interval = 0, blanking = 0, exposures = 0;
        XGetScreenSaver(*screen_, &seconds, &interval, &blanking, &exposures);
        return seconds;
    };
    ASSERT_TRUE(until([&] { return timeout() == 500 * 60; })) << program->errors();
    choose("0.02");
    EXPECT_TRUE(becomes(320, 240, 0x4020C0)) << program->errors();
    endsInOrder(*program);
}

} // namespace
} // namespace vitrel
