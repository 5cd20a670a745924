#include "programs/muralis/wallpaper/Wallpaper.h"

#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/NSImage.h"
#include "programs/Program.h"
#include "support/TestSurroundings.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <cstdlib>

namespace vitrel {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// The desktops' tools as scripts that keep what they are told in files named as what it is told of, and write down what
// was set.
constexpr const char* kGsettings = R"sh(
file=$STAND_IN/$3
case $1 in
get) [ -f "$file" ] || exit 1; cat "$file" ;;
set) printf '%s' "$4" >"$file"; printf '%s %s\n' "$3" "$4" >>"$STAND_IN/told" ;;
esac)sh";
constexpr const char* kPlasma = R"sh(printf '%s\n' "$1" >>"$STAND_IN/told")sh";
constexpr const char* kXfconf = R"sh(
[ "$3" = -l ] && { printf '%s\n' '/backdrop/single' '/backdrop/screen0/monitorA B/workspace0/last-image'; exit; }
if [ "$5" = -s ]; then printf '%s' "$6" >"$STAND_IN/image"; printf '%s %s\n' "$4" "$6" >>"$STAND_IN/told"
else cat "$STAND_IN/image"; fi)sh";
constexpr const char* kSwaymsg = R"sh(
case "$*" in
*get_outputs) printf '%s' '[{"name":"eDP-1","current_mode":{"width":640,"height":360}},
  {"name":"DP \"2","current_mode":{"width":300,"height":400}},{"name":"off"},7,{"name":"x","current_mode":{"width":"9","height":0}}]' ;;
*get_config) printf '%s' '{"config":"set $w ~/w.png\noutput * pos 0 0 bg /first.png fit res 1x1\noutput \"eDP-1\" {\n  background ~/my.png tile\n}\noutput * pos 0 0\noutput eDP-1 bg $w fill\n"}' ;;
*) [ "$1" = -- ] && printf '%s\n' "$2" >>"$STAND_IN/told" ;;
esac)sh";

class MuralisWallpaper : public testing::Test
{
protected:
    // Muralis with the demonstration's player on a desktop with one tool.
    void start(const std::string& tool, const char* script, Program::Environment environment)
    {
        if (script) {
            folder_.write("bin/" + tool, std::string("#!/bin/sh\n") + script + "\n");
            ::chmod((folder_ / ("bin/" + tool)).c_str(), 0700);
        }
        environment.insert({{"PATH", (folder_ / "bin") + ":" + std::getenv("PATH")}, {"STAND_IN", folder_.path()},
            {"XDG_CACHE_HOME", cache_}, {"SWAYSOCK", ""}, {"XDG_CURRENT_DESKTOP", ""}});
        program_ = std::make_unique<Program>(
            std::vector<std::string>{"--demo", "--wallpaper", "--port", std::to_string(20000 + ::getpid() % 20000)},
            environment);
    }
    std::vector<std::string> told(std::size_t lines)
    {
        std::vector<std::string> all;
        for (int k = 0; k < 3000 && all.size() < lines; ++k) {
            all.clear();
            std::ifstream file(folder_ / "told");
            for (std::string line; std::getline(file, line);)
                all.push_back(line);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return all;
    }
    // What was told from `lines` on, once it has ended.
    std::vector<std::string> toldAtTheEnd(std::size_t lines)
    {
        program_->signal(SIGTERM);
        EXPECT_EQ(program_->wait(), 0);
        auto all = told(1);
        all.erase(all.begin(), all.begin() + std::ptrdiff_t(std::min(lines, all.size())));
        return all;
    }

    TemporaryFolder folder_;
    const std::string cache_ = folder_ / "it's a cache";
    std::unique_ptr<Program> program_;
};

TEST_F(MuralisWallpaper, IsSetAndPutBackOnGnome)
{
    folder_.write("picture-uri", "'file:///home/a%20b/own.png'");
    folder_.write("picture-uri-dark", "'file:///dark \"$(touch x)`.png'");
    start("gsettings", kGsettings, {{"XDG_CURRENT_DESKTOP", "ubuntu:GNOME"}});
    const std::string address = "'file://" + (folder_ / "it%27s%20a%20cache/vitrel/wallpapers/");
    EXPECT_THAT(told(2), ElementsAre(StartsWith("picture-uri " + address), StartsWith("picture-uri-dark " + address)));
    int pictures = 0;
    for (const auto& entry : fs::directory_iterator(cache_ + "/vitrel/wallpapers")) {
        if (entry.path().extension() != ".jpg")
            continue;
        ++pictures;
        const std::string bytes = TemporaryFolder::read(entry.path());
        const auto image
            = NSImage::imageWithData(ByteView(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
        ASSERT_TRUE(image);
        EXPECT_EQ(image->size(), (NSSize{1920, 1080})) << "no display tells its size";
    }
    EXPECT_EQ(pictures, 1);
    EXPECT_THAT(toldAtTheEnd(2),
        ElementsAre("picture-uri 'file:///home/a%20b/own.png'", "picture-uri-dark 'file:///dark \"$(touch x)`.png'"));
}

// A run that was killed leaves its picture; the next one still knows the user's. What the user chose meanwhile stays.
TEST_F(MuralisWallpaper, OutlivesAKillAndRespectsAnotherChoice)
{
    folder_.write("picture-uri", "'file:///own.png'");
    start("gsettings", kGsettings, {{"XDG_CURRENT_DESKTOP", "GNOME"}});
    ASSERT_EQ(told(1).size(), 1u);
    program_->signal(SIGKILL);
    program_->wait();
    start("gsettings", kGsettings, {{"XDG_CURRENT_DESKTOP", "GNOME"}});
    ASSERT_EQ(told(2).size(), 2u);
    EXPECT_THAT(toldAtTheEnd(2), ElementsAre("picture-uri 'file:///own.png'"));
    start("gsettings", kGsettings, {{"XDG_CURRENT_DESKTOP", "GNOME"}});
    ASSERT_EQ(told(4).size(), 4u);
    folder_.write("picture-uri", "'file:///chosen.png'");
    EXPECT_THAT(toldAtTheEnd(4), ElementsAre());
}

TEST_F(MuralisWallpaper, IsSetAndPutBackOnTheOtherDesktops)
{
    const std::string pictures = cache_ + "/vitrel/wallpapers/";
    folder_.write("plasma-org.kde.plasma.desktop-appletsrc",
        "[Containments][1]\nImage=no\n[Containments][1][Wallpaper][org.kde.image][General]\nImage=file:///own "
        "it's.png\n");
    start(
        "plasma-apply-wallpaperimage", kPlasma, {{"XDG_CURRENT_DESKTOP", "KDE"}, {"XDG_CONFIG_HOME", folder_.path()}});
    EXPECT_THAT(told(1), ElementsAre(StartsWith(pictures)));
    EXPECT_THAT(toldAtTheEnd(1), ElementsAre("/own it's.png"));

    fs::remove(folder_ / "told");
    folder_.write("image", "/own.png");
    start("xfconf-query", kXfconf, {{"XDG_CURRENT_DESKTOP", "XFCE"}});
    const std::string key = "/backdrop/screen0/monitorA B/workspace0/last-image ";
    EXPECT_THAT(told(1), ElementsAre(StartsWith(key + pictures)));
    EXPECT_THAT(toldAtTheEnd(1), ElementsAre(key + "/own.png"));

    fs::remove(folder_ / "told");
    start("swaymsg", kSwaymsg, {{"SWAYSOCK", "/nowhere"}});
    const auto set = told(2);
    ASSERT_EQ(set.size(), 2u);
    EXPECT_THAT(
        set[0], testing::AllOf(StartsWith("output \"eDP-1\" bg \"" + pictures), HasSubstr("-640x360.jpg\" fill")));
    EXPECT_THAT(set[1], testing::AllOf(StartsWith("output \"DP \\\"2\" bg \""), HasSubstr("-300x400.jpg\" fill")));
    EXPECT_THAT(
        toldAtTheEnd(2), ElementsAre("output \"eDP-1\" bg ~/my.png tile", "output \"DP \\\"2\" bg /first.png fit"));
}

TEST_F(MuralisWallpaper, SaysOnceThatADesktopOffersNoWay)
{
    start("", nullptr, {{"XDG_CURRENT_DESKTOP", "Other"}});
    for (int k = 0; k < 2000 && program_->errors().empty(); ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_TRUE(program_->saidOneError()) << program_->errors();
    program_->signal(SIGTERM);
    EXPECT_EQ(program_->wait(), 0) << "it serves all the same";
}

// Of tracks in a row the last counts, a late cover isn't awaited with the former wallpaper, and few pictures are kept.
TEST(WallpaperPictures, FollowTheTracksAndAreFew)
{
    TestSurroundings test;
    TemporaryFolder folder;
    std::vector<std::string> values;
    std::string current = "own";
    WallpaperSetting setting{"key", {64, 36}, true, [&] { return std::optional(current); },
        [&](const std::string& value) { values.push_back(current = value); },
        [](const std::string& file) { return file; }};
    Wallpaper wallpaper(test.surroundings, folder.path(), {setting});
    const auto cover = [](std::uint32_t colour) {
        Bitmap bitmap{2, 2, std::vector<std::uint32_t>(4, 0xFF000000 + colour)};
        return std::make_shared<const Bytes>(*pngRepresentation(bitmap));
    };
    for (std::uint32_t k = 0; k < Wallpaper::kMostFiles + 4; ++k) {
        wallpaper.show(cover(k * 16));
        wallpaper.show(std::make_shared<const Bytes>(Bytes{1, 2, 3})); // no image: nothing changes
        wallpaper.show(cover(k * 16));
        wallpaper.flush();
        EXPECT_EQ(values.size(), k + 1);
    }
    EXPECT_EQ(folder.count(), Wallpaper::kMostFiles + 1) << "and the former one's file";
    wallpaper.show(nullptr);
    test.loop.turn();
    wallpaper.flush();
    EXPECT_NE(current, "own");
    test.clock.time += Wallpaper::kPatience;
    test.loop.turn();
    wallpaper.flush();
    EXPECT_EQ(current, "own");
    wallpaper.show(cover(1));
    wallpaper.flush();
    EXPECT_NE(current, "own");
    wallpaper.putBack();
    EXPECT_EQ(current, "own");
    wallpaper.show(cover(2));
    wallpaper.flush();
    EXPECT_EQ(current, "own");
}

} // namespace
} // namespace vitrel
