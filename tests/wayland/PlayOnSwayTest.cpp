// On a real compositor without a screen: what is on the screen, and how it ends.
#include "platform/appkit/wayland/WaylandIdle.h"
#include "programs/Program.h"
#include "support/RealLoop.h"
#include "wayland/SwayServer.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

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
    EXPECT_EQ(program->wait(), 0);
    EXPECT_EQ(program->errors(), "");
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
    EXPECT_EQ(program->wait(), 0);
    EXPECT_EQ(program->errors(), "");
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
        EXPECT_EQ(program->wait(), 0);
        EXPECT_EQ(program->errors(), "");
    }
    // Now the variable leads nowhere, and there is no X server either.
    auto program = play();
    EXPECT_EQ(program->wait(), 1);
    EXPECT_TRUE(program->saidOneError()) << program->errors();
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
    EXPECT_EQ(waylandSummary(*connection).displays,
        "HEADLESS-1 320x200 (headless headless), "
        "HEADLESS-2 200x120 (headless headless)");
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
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.errors(), "");
}

} // namespace
} // namespace vitrel
