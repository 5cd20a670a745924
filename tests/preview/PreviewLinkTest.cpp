#include "programs/preview/PreviewLink.h"
#include "preview/Children.h"
#include "support/RealLoop.h"

#include <gmock/gmock.h>

#include <cstdlib>

namespace vitrel {
namespace {

using State = PreviewLink::State;

// Three crashes in a row are enough; a wish of the user starts over. A child that came back for ever would cost a core.
TEST(PreviewLink, StartsACrashedChildAgainButNotForEver)
{
    Children in;
    PreviewLink link(in.loop, in.program("echo x >>" + in.folder.path() + "/starts; exit 1\n"));
    ASSERT_TRUE(in.until([&] { return link.state() == State::failed; }, Seconds(0.05)));
    EXPECT_EQ(in.lines("starts"), 3u);
    EXPECT_EQ(link.frame().pixels, nullptr);
    for (int turn = 0; turn < 50; ++turn) {
        in.clock.time += Seconds(1);
        in.loop.turn();
    }
    EXPECT_EQ(in.lines("starts"), 3u);
    link.reload();
    EXPECT_NE(link.state(), State::failed);
    EXPECT_TRUE(in.until([&] { return link.state() == State::failed; }, Seconds(0.05)));
    EXPECT_EQ(in.lines("starts"), 6u);
}

TEST(PreviewLink, EndsAChildThatDoesNotAnswer)
{
    Children in;
    int changes = 0;
    PreviewLink link(in.loop, in.program("echo x >>" + in.folder.path() + "/starts; exec sleep 600\n"));
    link.onChange = [&] { ++changes; };
    ASSERT_TRUE(in.until([&] { return in.lines("starts") == 1; }));
    EXPECT_TRUE(in.until([&] { return link.state() == State::failed; }, Seconds(0.5)));
    EXPECT_EQ(in.lines("starts"), 3u);
    EXPECT_GE(changes, 3) << "who shows it is told";
}

TEST(PreviewLink, SurvivesAProgramThatIsNotThere)
{
    Children in;
    PreviewLink link(in.loop, in.folder / "nothing");
    link.resize(100, 50);
    link.setShown(false);
    EXPECT_TRUE(in.until([&] { return link.state() == State::failed; }, Seconds(0.05)));
}

// The real child: a red square that becomes a picture of the size that was asked for.
TEST(PreviewLink, ShowsWhatTheSettingsChooseInTheSizeAskedFor)
{
    Children in;
    const std::string source = in.folder.write(
        "red.json", R"({"patches":{"c":{"class":"QCClear","inputs":{"inputColor":"#ff0000ff"}}},"connections":[]})");
    const std::string file = in.folder / "red.qtz";
    ASSERT_EQ(std::system((VITREL_PROGRAM " make " + source + " " + file).c_str()), 0);
    setenv("XDG_CONFIG_HOME", (in.folder / "config").c_str(), 1);
    ASSERT_EQ(std::system((VITREL_PROGRAM " compositions add " + file + " 2>/dev/null").c_str()), 0);
    RealLoop real;
    PreviewLink link(real.loop, VITREL_PROGRAM);
    const auto shows = [&](std::uint32_t color, int width, int height) {
        const auto frame = link.frame();
        return frame.pixels && frame.width == width && frame.height == height
            && (frame.pixels[std::size_t(height - 1) * frame.wordsPerRow + std::size_t(width - 1)] & 0xFFFFFF) == color;
    };
    EXPECT_TRUE(real.turnUntil([&] { return shows(0xFF0000, 480, 270); }, 60));
    EXPECT_EQ(link.state(), State::playing);
    link.resize(200, 100);
    EXPECT_TRUE(real.turnUntil([&] { return shows(0xFF0000, 200, 100); }, 60));
    in.folder.write(
        "red.json", R"({"patches":{"c":{"class":"QCClear","inputs":{"inputColor":"#0000ffff"}}},"connections":[]})");
    ASSERT_EQ(std::system((VITREL_PROGRAM " make " + source + " " + file).c_str()), 0);
    link.reload();
    EXPECT_TRUE(real.turnUntil([&] { return shows(0x0000FF, 200, 100); }, 60));
    unsetenv("XDG_CONFIG_HOME");
}

} // namespace
} // namespace vitrel
