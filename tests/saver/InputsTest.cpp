#include "base/Text.h"
#include "saver/InputTrace.h"
#include "saver/VitrelView.h"
#include "support/Saver.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre, testing::IsEmpty, testing::Pair;

const OperatingSystemVersion kCompanion{10, 14, 0}, kDirect{10, 13, 6};

struct Playing : Saver {
    std::shared_ptr<VitrelView> view, other; // always two, which must not meet
    std::vector<std::string> keys;

    Playing(OperatingSystemVersion version, std::vector<std::string> inputs)
        : Saver(version)
        , keys(std::move(inputs))
    {
        composition("Muralis RSS Almanac", keys);
        view = makeView();
        other = makeView();
        loop.turn();
        writes();
    }
    std::vector<std::pair<std::string, Value>> writes() { return std::exchange(recording(*view).writes, {}); }
    Value input(const std::string& key) { return recording(*view).valueForInputKey(key); }
    void play(const std::shared_ptr<SBTrack>& track, std::uint32_t state = kPlayerStatePlaying)
    {
        players.player->running = true;
        players.player->state = state;
        players.player->track = track;
        center.postNotificationNameObjectUserInfo(
            "com.apple.iTunes.playerInfo", "com.apple.iTunes.player", {{"Player State", "Playing"}});
        loop.turn();
        loop.turn();
    }
};

TEST(Inputs, WritesOnlyWhatIsDeclaredAndInTheFixedOrder)
{
    const std::vector<std::string> all{"Name", "Artist", "Album", "Artwork", "IsArtworkAvailable", "Year", "UserRating",
        "PlayCount", "TrackNumber", "TrackCount", "DiscNumber", "DiscCount", "Genre", "Composer", "Length", "album",
        "albumArt", "artist", "isPlaying", "name", "numTracks", "playCount", "Show_CD", "Show_cover_transition",
        "Show_help_on_start", "Cover_transition", "trackNumber", "Transition_selection", "userRating", "volumeArt",
        "year", "totalTimeInMS", "genre", "Show_performance_info", "Christmas_mode"};
    std::vector<std::string> declared(all.rbegin(), all.rend());
    for (const char* unwritten : {"Show_informations", "CPU", "Mine"})
        declared.push_back(unwritten);
    Playing in(kCompanion, declared);
    in.view->setTrackDataFromPacket({{"Name", "N"}});
    in.loop.turn();
    std::vector<std::string> written;
    for (const auto& [key, value] : in.writes())
        written.push_back(key);
    EXPECT_EQ(written, all);
    EXPECT_TRUE(in.view->compositionSupportsItunes());
    EXPECT_EQ(in.input("volumeArt"), Value());
    EXPECT_EQ(in.input("Show_CD"), Value(true));
    EXPECT_EQ(Saver::recording(*in.other).valueForInputKey("Name"), Value()) << "which has a record of its own";

    Playing none(kCompanion, {"Mine", "RequiresSquareImage"});
    none.view->setTrackDataFromPacket({{"Name", "N"}});
    none.fastForwardBy(10s);
    EXPECT_THAT(none.writes(), IsEmpty());
    EXPECT_FALSE(none.view->compositionSupportsItunes());
}

TEST(Inputs, FollowsThePlayerOnTheDirectRoadAndSaysNoMusicPlayingThereAlone)
{
    Playing direct(kDirect, {"Name", "name", "isPlaying"});
    EXPECT_EQ(direct.input("Name"), Value("No music playing"));
    EXPECT_EQ(direct.input("name"), Value());
    direct.play(trackNamed("A"));
    EXPECT_EQ(direct.input("Name"), Value("A"));
    EXPECT_EQ(Saver::recording(*direct.other).valueForInputKey("Name"), Value("A")) << "both views observe";
    direct.play(trackNamed("B"), kPlayerStatePaused);
    direct.fastForwardBy(2s);
    EXPECT_EQ(direct.input("Name"), Value("A")) << "a pause leaves the track on the screen";
    EXPECT_EQ(direct.input("isPlaying"), Value(true));
    direct.players.player->running = false;
    direct.center.postNotificationNameObjectUserInfo(
        "com.apple.iTunes.playerInfo", "com.apple.iTunes.player", {{"Player State", "Stopped"}});
    direct.fastForwardBy(0.1s);
    EXPECT_EQ(direct.input("Name"), Value("No music playing"));
    EXPECT_EQ(direct.input("name"), Value()) << "cleared";

    Playing companion(kCompanion, {"Name"});
    EXPECT_EQ(companion.input("Name"), Value());
    companion.view->setTrackDataFromPacket({});
    companion.loop.turn();
    EXPECT_EQ(companion.input("Name"), Value(""));
}

TEST(Inputs, SquaresArtworkForWhoAsksAndKeepsTheRecord)
{
    const std::tuple<const char*, std::vector<std::string>, NSSize, NSSize> cases[] = {
        {"wide", {"Artwork", "RequiresSquareImage"}, {600, 400}, {400, 400}},
        {"tall", {"albumArt", "RequiresSquareImage"}, {20, 50}, {20, 20}},
        {"one pixel", {"Artwork", "albumArt", "RequiresSquareImage"}, {3, 1}, {1, 1}},
        {"not asked", {"Artwork", "albumArt"}, {600, 400}, {600, 400}},
    };
    for (const auto& [why, keys, picture, published] : cases) {
        Playing in(kDirect, keys);
        auto track = trackNamed("A");
        track->artworks = {
            std::make_shared<SBArtwork>(std::make_shared<const Bytes>(pngOf(int(picture.width), int(picture.height))))};
        in.play(track);
        EXPECT_EQ(in.input("RequiresSquareImage"), Value()) << "never written";
        for (const auto& key : keys) {
            if (key == "RequiresSquareImage")
                continue;
            ASSERT_TRUE(in.input(key).image()) << why;
            EXPECT_EQ(in.input(key).image()->size(), published) << why << " as " << key;
            EXPECT_EQ(in.view->dataiTunes()->at(key).image()->size(), picture) << why << " as " << key;
        }
    }
}

TEST(Inputs, KeepsTheLastImageThatAPacketBrought)
{
    Playing in(kCompanion, {"Artwork"});
    const auto size = [&] { return in.view->debugImage() ? in.view->debugImage()->size() : NSSize{}; };
    in.view->setTrackDataFromPacket({{"Track Artwork", encodeBase64(pngOf(3, 2))}});
    EXPECT_EQ(size(), (NSSize{3, 2}));
    in.view->setTrackDataFromPacket({{"Name", "N"}});
    EXPECT_EQ(size(), (NSSize{3, 2})) << "none was offered";
    in.view->setTrackDataFromPacket({{"Track Artwork", "AAAA"}});
    EXPECT_EQ(in.view->debugImage(), nullptr) << "one that is no picture";
    EXPECT_EQ(in.view->imageFromText(encodeBase64(pngOf(5, 4)))->size(), (NSSize{5, 4}));
}

TEST(Inputs, AnImageWithoutPixelsGoesOutUnsquared)
{
    Playing in(kDirect, {"Artwork", "RequiresSquareImage"});
    const auto flat = std::make_shared<const NSImage>(
        NSSize{5, 5}, std::vector<NSBitmapImageRep>{NSBitmapImageRep(std::make_shared<Bitmap>(Bitmap{7, 0, {}}))});
    const auto bare = std::make_shared<const NSImage>(NSSize{5, 5}, std::vector<NSBitmapImageRep>{});
    for (const auto& image : {flat, bare}) {
        (*in.view->dataiTunes())["Artwork"] = Value(image);
        in.view->updateQCRendererInputData();
        EXPECT_EQ(in.input("Artwork").image(), image);
    }
}

// The input must be seen to fall, and rise again with the publication of the next turn.
TEST(Inputs, RetriggersIsPlayingPastTheRecord)
{
    Playing in(kCompanion, {"isPlaying"});
    const auto packet = [&] {
        in.view->setTrackDataFromPacket({{"Player State", "Playing"}});
        in.loop.turn();
        return in.writes();
    };
    const auto fall = Pair("isPlaying", Value(false)), rise = Pair("isPlaying", Value(true));
    EXPECT_THAT(packet(), ElementsAre(rise)) << "within five seconds of the start";
    in.fastForwardBy(6s);
    EXPECT_THAT(packet(), ElementsAre(fall, rise));
    in.fastForwardBy(4s);
    EXPECT_THAT(packet(), ElementsAre(rise));
    in.fastForwardBy(2s);
    EXPECT_THAT(packet(), ElementsAre(fall, rise));
}

TEST(Inputs, AViewThatComesToAPlayerThatRunsShowsItsTrack)
{
    Saver in(kDirect);
    in.composition("Muralis RSS Almanac", {"Name", "isPlaying"});
    in.players.player->running = true;
    in.players.player->track = trackNamed("A");
    for (const bool plays : {false, true}) {
        in.players.player->state = plays ? kPlayerStatePlaying : kPlayerStatePaused;
        const auto view = in.makeView();
        EXPECT_THAT(in.loop.pending(*view), testing::Contains("updateTrackData"));
        in.fastForwardBy(0.1s);
        EXPECT_EQ(Saver::recording(*view).valueForInputKey("Name"), Value("A"));
        EXPECT_EQ(Saver::recording(*view).valueForInputKey("isPlaying"), Value(plays)) << "as the player says";
    }
}

TEST(Inputs, SystemStatisticsAreRecognisedAndNeverWritten)
{
    Playing in(kDirect, {"Name"});
    EXPECT_FALSE(in.view->isQCSystemCompatible());
    for (const char* key : {"CPU", "Bytes_In", "Bytes_Out", "Bytes_In_Percentage", "Bytes_Out_Percentage",
             "CPU_Formatted", "Bytes_In_Formatted", "Bytes_Out_Formatted", "Limit_Mbits_In", "Limit_Mbits_Out"}) {
        for (const bool declared : {true, false}) {
            in.composition("Muralis RSS Almanac", {declared ? key : "cpu"});
            in.view->reloadFile();
            in.fastForwardBy(10s);
            EXPECT_EQ(in.view->isQCSystemCompatible(), declared) << key;
            EXPECT_THAT(in.writes(), IsEmpty()) << key;
        }
    }
}

TEST(InputTrace, WritesOneLineForEveryWrite)
{
    Playing in(kDirect, {"Name", "Artwork", "Year"});
    in.clock.time = 10s;
    std::string lines;
    InputTrace trace(in.clock, [&](const std::string& line) { lines += line; });
    in.view->setInputObserver(trace.observerForView(1));
    auto track = trackNamed("gr\xC3\xBC \xFF\"");
    track->year = 1999;
    track->artworks = {std::make_shared<SBArtwork>(std::make_shared<const Bytes>(pngOf(3, 2)))};
    in.clock.time = 10.5s;
    in.play(track);
    in.view->setQuartzCompositionValue({}, "Artwork");
    in.view->setQuartzCompositionValue("dropped", "Other");
    in.composer.refuses = true;
    in.view->setQuartzCompositionValue("a text in an image's place", "Artwork");
    EXPECT_EQ(lines,
        "{\"t\":0.5,\"view\":1,\"key\":\"Name\",\"value\":\"gr\xC3\xBC \xEF\xBF\xBD\\\"\"}\n"
        "{\"t\":0.5,\"view\":1,\"key\":\"Artwork\",\"value\":{\"image\":[3,2]}}\n"
        "{\"t\":0.5,\"view\":1,\"key\":\"Year\",\"value\":1999}\n"
        "{\"t\":0.5,\"view\":1,\"key\":\"Artwork\",\"value\":null}\n");
}

TEST(InputTrace, HasAFormForEveryKindOfValue)
{
    const std::pair<Value, const char*> cases[] = {{true, "true"}, {2.5, "2.5"}, {std::nan(""), "null"},
        {NSColor{1, 0.5, 0, 1}, "[1.0,0.5,0.0,1.0]"}, {Value(Array{1, "a", Value()}), "[1,\"a\",null]"},
        {Value(Dictionary{{"k", Value(Array{})}}), "{\"k\":[]}"}, {Date{5}, "5.0"}};
    for (const auto& [value, text] : cases)
        EXPECT_EQ(InputTrace::jsonText(value), text);
}

} // namespace
} // namespace vitrel
