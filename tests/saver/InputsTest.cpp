#include "base/Text.h"
#include "saver/InputTrace.h"
#include "saver/VitrelView.h"
#include "support/Saver.h"
#include "support/TemporaryFolder.h"

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
    // Frames are drawn, each hearing this.
    void frame(const SoundHeard& heard = {})
    {
        recording(*view).onFrame(heard);
        recording(*view).onFrameDrawn();
    }
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

// Covers from before come from the shelf, each new one goes there; the newest stands first, and each once.
TEST(Inputs, FeedsTheCoversOfThisEvening)
{
    struct Shelf : CoverShelf {
        std::vector<Bytes> before, kept;
        void keep(ByteView picture) override { kept.emplace_back(picture.begin(), picture.end()); }
        std::vector<Bytes> covers(const std::atomic<bool>&) override { return before; }
    };
    Playing in(kDirect, {"Artwork"}); // nobody asks
    const auto track = [](const char* name, int width, int height) {
        auto made = trackNamed(name);
        made->artworks = {std::make_shared<SBArtwork>(std::make_shared<const Bytes>(pngOf(width, height)))};
        return made;
    };
    in.play(track("A", 30, 20));
    EXPECT_EQ(in.input("Covers_This_Evening"), Value());

    Playing asks(kDirect, {"Covers_This_Evening"});
    const auto shelf = std::make_shared<Shelf>();
    shelf->before = {pngOf(9, 9), pngOf(7, 7)};
    asks.view->setCoverShelf(shelf);
    const auto widths = [&] {
        std::vector<double> all;
        asks.surroundings.initiated.drain();
        asks.loop.turn();
        const Value covers = asks.input("Covers_This_Evening");
        for (const Value& cover : covers.array() ? *covers.array() : Array())
            all.push_back(cover.image() ? cover.image()->size().width : -1);
        return all;
    };
    asks.play(trackNamed("without a cover"));
    EXPECT_THAT(widths(), ElementsAre(9, 7));
    EXPECT_THAT(shelf->kept, IsEmpty());
    asks.play(track("B", 600, 400));
    EXPECT_THAT(widths(), ElementsAre(256, 9, 7));
    ASSERT_EQ(shelf->kept.size(), 1u);
    asks.play(track("C", 300, 500)); // of one colour like B: small, it is the same picture
    EXPECT_THAT(widths(), ElementsAre(256, 9, 7));
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

TEST(Visualizer, FeedsWhatTheProtocolNames)
{
    Playing in(kDirect,
        {"_protocolInput_AudioPeak", "inputAudioSpectrum", "_protocolInput_TrackInfo", "_protocolInput_TrackSignal",
            "inputTrackSignal", "_protocolInput_PreviewMode", "myAudioPeak", "name"});
    EXPECT_EQ(in.input("inputAudioSpectrum"), Value(Array(16, 0.0))) << "silence, at once";
    EXPECT_EQ(in.input("_protocolInput_AudioPeak"), Value(0.0));
    EXPECT_EQ(in.input("myAudioPeak"), Value());
    EXPECT_THAT(in.loop.pending(*in.view), testing::Not(testing::Contains("updateTrackPosition")));
    EXPECT_EQ(in.input("_protocolInput_TrackInfo"), Value());
    EXPECT_EQ(in.input("_protocolInput_PreviewMode"), Value()) << "not here";
    auto track = trackNamed("A");
    track->artist = "B";
    track->time = "1:02:03";
    track->year = 1999;
    const auto cover = std::make_shared<const Bytes>(pngOf(3, 2));
    track->artworks = {std::make_shared<SBArtwork>(cover, NSImage::imageWithData(*cover))};
    in.play(track);
    EXPECT_THAT(in.writes(),
        testing::UnorderedElementsAre(Pair("name", Value("A")), Pair("_protocolInput_TrackInfo", testing::_),
            Pair("_protocolInput_TrackSignal", Value(true)), Pair("inputTrackSignal", Value(true))));
    const Value info = in.input("_protocolInput_TrackInfo");
    std::vector<std::string> names;
    for (const auto& [name, value] : *info.dictionary())
        names.push_back(name);
    EXPECT_THAT(names, ElementsAre("artist", "artwork", "duration", "name", "year"));
    EXPECT_EQ(*member(*info.dictionary(), "duration"), Value(3723.0));
    EXPECT_EQ(*member(*info.dictionary(), "year"), Value(1999));
    SoundHeard heard{.peak = 0.5};
    heard.spectrum[15] = 0.25;
    in.frame(heard);
    EXPECT_EQ(in.input("_protocolInput_TrackSignal"), Value(false)) << "true for one frame";
    EXPECT_EQ(in.input("_protocolInput_AudioPeak"), Value(0.5));
    EXPECT_EQ(in.input("inputAudioSpectrum").array()->back(), Value(0.25));
    in.writes();
    in.frame(heard);
    in.play(track);
    EXPECT_THAT(in.writes(), ElementsAre(Pair("name", Value("A")))) << "what stays is written once";
    in.frame();
    EXPECT_EQ(in.input("_protocolInput_AudioPeak"), Value(0.0));

    in.players.player->running = false;
    in.view->itunesDidClose();
    in.loop.turn();
    EXPECT_EQ(in.input("_protocolInput_TrackInfo"), Value()) << "no player";
    EXPECT_EQ(in.input("_protocolInput_TrackSignal"), Value(false));

    const auto preview = in.makeView(true);
    in.loop.turn();
    EXPECT_EQ(Saver::recording(*preview).valueForInputKey("_protocolInput_PreviewMode"), Value(true));
    Playing companion(kCompanion, {"_protocolInput_TrackInfo"});
    companion.bundleFolder.write("ArtworkEmpty.png", std::string(textOf(pngOf(1, 1)))); // which is none of the track's
    companion.view->setTrackDataFromPacket({{"Name", "N"}, {"Time", "3:45"}});
    companion.loop.turn();
    EXPECT_EQ(companion.input("_protocolInput_TrackInfo"), Value(Dictionary{{"name", "N"}, {"duration", 225.0}}));
}

TEST(Visualizer, ThePositionRunsSmoothlyAndJumpsWhereThePlayerDoes)
{
    TrackClock clock;
    EXPECT_EQ(clock.position(12, false, 100s), 12);
    EXPECT_EQ(clock.position(12, false, 200s), 12) << "a pause";
    // The player tells whole seconds: it is followed nearer than it tells, and never backwards.
    double last = 12;
    for (int k = 1; k <= 600; ++k) {
        const double truth = 12 + k / 60.0, now = clock.position(std::floor(truth), true, 200s + Seconds(k / 60.0));
        EXPECT_TRUE(now > last && now - last < 2.0 / 60 && std::abs(now - truth) < 0.8) << truth << " " << now;
        last = now;
    }
    EXPECT_EQ(clock.position(90, true, 211s), 90) << "a seek";
    clock.forget();
    EXPECT_EQ(clock.position(90.5, true, 211s), 90.5) << "of another track";

    Playing in(kDirect, {"_protocolInput_TrackPosition"});
    auto track = trackNamed("A");
    track->time = "3:20";
    in.play(track);
    in.writes();
    const auto writtenIn = [&](double seconds) {
        for (double k = 0; k < seconds; k += 0.02, in.fastForwardBy(20ms))
            in.players.player->position += in.players.player->state == kPlayerStatePlaying ? 0.02 : 0;
        return double(in.writes().size());
    };
    EXPECT_NEAR(writtenIn(2), 40, 6) << "each 4000th of the track";
    EXPECT_NEAR(*in.input("_protocolInput_TrackPosition").number(), 2, 0.1);
    in.players.player->state = kPlayerStatePaused;
    writtenIn(0.5);
    EXPECT_EQ(writtenIn(10), 0);
    in.players.player->position = -5;
    writtenIn(0.5);
    EXPECT_EQ(in.input("_protocolInput_TrackPosition"), Value(0.0));
    in.view->cleanup();
    EXPECT_THAT(in.loop.pending(*in.view), testing::Not(testing::Contains("updateTrackPosition")));
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
    in.view->setSoundObserver(trace.soundObserverForView(1));
    trace.beginAnew(false);
    in.clock.time += 1s;
    in.frame({.peak = 0.5});
    in.frame({.peak = 0.5});
    trace.run();
    in.frame({.peak = 0.5, .beats = 3});
    in.frame({.peak = 0.25, .beats = 3});
    EXPECT_EQ(lines,
        "{\"t\":0.5,\"view\":1,\"key\":\"Name\",\"value\":\"gr\xC3\xBC \xEF\xBF\xBD\\\"\",\"date\":1700000010.0}\n"
        "{\"t\":0.5,\"view\":1,\"key\":\"Artwork\",\"value\":{\"image\":[3,2]}}\n"
        "{\"t\":0.5,\"view\":1,\"key\":\"Year\",\"value\":1999}\n"
        "{\"t\":0.5,\"view\":1,\"key\":\"Artwork\",\"value\":null}\n"
        "{\"t\":0.0,\"view\":1,\"sound\":{\"peak\":0.5,\"spectrum\":"
        "[0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0]}}\n"
        "{\"t\":1.0,\"view\":1,\"sound\":{\"peak\":0.25,\"spectrum\":"
        "[0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0],\"beats\":3}}\n");
}

TEST(InputTrace, HasAFormForEveryKindOfValue)
{
    const std::pair<Value, const char*> cases[] = {{true, "true"}, {2.5, "2.5"}, {std::nan(""), "null"},
        {NSColor{1, 0.5, 0, 1}, "[1.0,0.5,0.0,1.0]"}, {Value(Array{1, "a", Value()}), "[1,\"a\",null]"},
        {Value(Dictionary{{"k", Value(Array{})}}), "{\"k\":[]}"}, {Date{5}, "5.0"}};
    for (const auto& [value, text] : cases)
        EXPECT_EQ(InputTrace::jsonText(value), text);
    const TemporaryFolder folder;
    TracePictures pictures(folder / "images");
    const auto image = NSImage::imageWithData(pngOf(3, 2));
    EXPECT_THAT(InputTrace::jsonText(Dictionary{{"artwork", Value(image)}}, &pictures),
        testing::MatchesRegex(R"(\{"artwork":\{"image":\[3,2\],"hash":"[0-9a-f]+"\}\})"));
}

} // namespace
} // namespace vitrel
