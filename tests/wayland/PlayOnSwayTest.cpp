// On a real compositor without a screen: what is on the screen, and how it ends.
#include "platform/appkit/wayland/WaylandIdle.h"
#include "programs/Program.h"
#include "support/RealLoop.h"
#include "support/ServerProcess.h"

#include <gtest/gtest.h>

#include <pwd.h>

#include <array>

namespace vitrel {
namespace {

// A compositor without a screen, for one test: two outputs, 320x200 and, to the right of it, 200x120. It refuses to run
// as root, so root runs it as nobody, in a folder that both can use.
class SwayServer
{
public:
    SwayServer()
    {
        if (std::system("command -v sway grim wtype swaymsg >/dev/null") != 0)
            return;
        folder_.write("config",
            "output HEADLESS-1 resolution 320x200 position 0,0 bg #101010 solid_color\n"
            "output HEADLESS-2 resolution 200x120 position 320,0 bg #101010 solid_color\n"
            "output HEADLESS-3 resolution 100x100 position 520,0 bg #101010 solid_color\n"
            "exec swaymsg focus output HEADLESS-1 && echo ready >&3\n");
        std::vector<std::string> words{"env", "-u", "DISPLAY", "-u", "WAYLAND_DISPLAY",
            "XDG_RUNTIME_DIR=" + folder_.path(), "HOME=" + folder_.path(), "SWAYSOCK=" + socket_,
            "WLR_BACKENDS=headless", "WLR_RENDERER=pixman", "WLR_HEADLESS_OUTPUTS=2", "WLR_LIBINPUT_NO_DEVICES=1",
            "sway", "-c", folder_ / "config"};
        const passwd* nobody = getuid() == 0 ? getpwnam("nobody") : nullptr;
        if (nobody && chown(folder_.path().c_str(), nobody->pw_uid, nobody->pw_gid) != 0)
            return;
        if (nobody) {
            words.insert(words.begin(),
                {"setpriv", "--clear-groups", "--regid", std::to_string(nobody->pw_gid), "--reuid",
                    std::to_string(nobody->pw_uid)});
        }
        process_.emplace(std::move(words));
    }

    bool runs() const { return process_ && !process_->said().empty(); }
    // For a program that is to be on it.
    std::map<std::string, std::string> environment() const
    {
        return {{"XDG_RUNTIME_DIR", folder_.path()}, {"WAYLAND_DISPLAY", "wayland-1"}};
    }
    // Absolute, so that no variable need be set.
    std::string display() const { return folder_ / "wayland-1"; }

    bool tell(const std::string& words) const { return run("swaymsg -s " + socket_ + " " + words); }
    // Presses a key, on a keyboard that is there for a moment only, like all devices here.
    bool pressAKey() const { return run("wtype -s 300 x"); }

    // 0xRRGGBB; 0xBAD000000 without a picture.
    unsigned long pixelAt(int x, int y) const
    {
        const std::string area = std::to_string(x) + "," + std::to_string(y) + " 1x1";
        FILE* pipe = popen((prefix() + "grim -t ppm -g '" + area + "' - 2>/dev/null").c_str(), "r");
        std::array<unsigned char, 64> bytes{};
        const auto count = pipe ? fread(bytes.data(), 1, bytes.size(), pipe) : 0;
        if (pipe)
            pclose(pipe);
        if (count < 3 || bytes[0] != 'P')
            return 0xBAD000000;
        return bytes[count - 3] * 0x10000ul + bytes[count - 2] * 0x100ul + bytes[count - 1];
    }
    bool becomes(int x, int y, unsigned long colour) const
    {
        return RealLoop().turnUntil([&] { return pixelAt(x, y) == colour; });
    }
    static constexpr unsigned long kDesktop = 0x101010;

    void kill() { process_->kill(); }

private:
    std::string prefix() const
    {
        return "timeout 20 env XDG_RUNTIME_DIR=" + folder_.path() + " WAYLAND_DISPLAY=wayland-1 ";
    }
    bool run(const std::string& words) const
    {
        return std::system((prefix() + words + " >/dev/null 2>&1").c_str()) == 0;
    }

    TemporaryFolder folder_;
    const std::string socket_ = folder_ / "sway";
    std::optional<ServerProcess> process_;
};

constexpr const char* kColour = R"json({"inputs": {"Colour": "Clear.inputColor"},
  "patches": {"Clear": {"class": "QCClear", "inputs": {"inputColor": "#2040ff"}}}})json";
constexpr unsigned long kBlue = 0x2040FF;

class OnSway : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!sway_.runs())
            GTEST_SKIP() << "no sway, grim or wtype here";
        Program make({"make", folder_.write("colour.json", kColour), folder_ / "colour.qtz"});
        ASSERT_EQ(make.wait(), 0) << make.errors();
    }
    std::unique_ptr<Program> play(std::vector<std::string> words = {})
    {
        words.insert(words.begin(), "play");
        words.push_back(folder_ / "colour.qtz");
        return std::make_unique<Program>(std::move(words), sway_.environment());
    }
    bool isCovered(unsigned long colour = kBlue)
    {
        return sway_.becomes(0, 0, colour) && sway_.becomes(319, 199, colour) && sway_.becomes(320, 0, colour)
            && sway_.becomes(519, 119, colour);
    }

    SwayServer sway_;
    TemporaryFolder folder_;
};

TEST_F(OnSway, EveryOutputIsCoveredAndAKeyEndsAll)
{
    auto program = play();
    ASSERT_TRUE(isCovered()) << program->errors();
    EXPECT_EQ(program->children().size(), 2u);
    ASSERT_TRUE(sway_.pressAKey());
    EXPECT_TRUE(program->endsWell()) << program->errors();
    EXPECT_TRUE(isCovered(SwayServer::kDesktop)) << "nothing is left";
}

TEST_F(OnSway, AnOutputThatComesGetsItsProcessAndOneThatChangesIsFollowed)
{
    auto program = play();
    ASSERT_TRUE(isCovered()) << program->errors();
    ASSERT_TRUE(sway_.tell("create_output"));
    EXPECT_TRUE(sway_.becomes(520, 0, kBlue) && sway_.becomes(619, 99, kBlue)) << program->errors();
    EXPECT_EQ(program->children().size(), 3u);
    ASSERT_TRUE(sway_.tell("output HEADLESS-1 resolution 300x300"));
    EXPECT_TRUE(sway_.becomes(299, 299, kBlue)) << "the new size";
    program->signal(SIGTERM);
    EXPECT_TRUE(program->endsWell()) << program->errors();
}

TEST_F(OnSway, ACompositorThatDiesEndsThePlayQuietly)
{
    auto inWindow = play({"--window", "100x80"});
    ASSERT_TRUE(sway_.becomes(150, 100, kBlue)) << inWindow->errors();
    EXPECT_EQ(sway_.pixelAt(400, 60), SwayServer::kDesktop) << "in one window only";
    auto fullScreen = play();
    ASSERT_TRUE(isCovered()) << fullScreen->errors();
    sway_.kill();
    for (auto* program : {inWindow.get(), fullScreen.get()}) {
        EXPECT_TRUE(program->endsWell()) << program->errors();
    }
    // Now the variable leads nowhere, and there is no X server either.
    auto program = play();
    EXPECT_TRUE(program->fails(1)) << program->errors();
}

TEST_F(OnSway, OutputsAreDescribedAndIdlenessIsToldAndItsEnd)
{
    RealLoop in;
    const auto connection = WaylandConnection::open(in.loop, sway_.display());
    ASSERT_TRUE(connection);
    ASSERT_EQ(connection->outputs().size(), 2u);
    EXPECT_EQ(connection->outputs()[1].screen.frame, makeRect(320, 80, 200, 120))
        << "y upwards from the first one's lower edge";
    EXPECT_EQ(waylandSummary(*connection).cover, "zwlr_layer_shell_v1");
    // Of wlroots 0.15; later ones name no maker.
    const std::string of = connection->outputs()[0].make == "headless" ? " (headless headless)" : "";
    EXPECT_EQ(waylandSummary(*connection).displays, "HEADLESS-1 320x200" + of + ", HEADLESS-2 200x120" + of);
    const auto idle = WaylandIdle::make(connection, Seconds(0.5));
    ASSERT_TRUE(idle);
    std::string log;
    idle->onIdle = [&] { log += 'i'; };
    idle->onResumed = [&] { log += 'r'; };
    EXPECT_TRUE(in.turnUntil([&] { return log == "i"; })) << log;
    ASSERT_TRUE(sway_.pressAKey());
    EXPECT_TRUE(in.turnUntil([&] { return log == "iri"; })) << log;
}

TEST_F(OnSway, AnIdleDesktopIsPlayedOnUntilAKey)
{
    Program program({"idle", "--after", "0.02", "--", folder_ / "colour.qtz"}, sway_.environment());
    for (int k = 0; k < 2; ++k) {
        ASSERT_TRUE(isCovered()) << program.errors();
        ASSERT_TRUE(sway_.pressAKey());
        EXPECT_TRUE(isCovered(SwayServer::kDesktop));
    }
    program.signal(SIGTERM);
    EXPECT_TRUE(program.endsWell()) << program.errors();
}

} // namespace
} // namespace vitrel
