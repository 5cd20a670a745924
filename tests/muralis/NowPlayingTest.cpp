#include "programs/muralis/nowplaying/NowPlaying.h"

#include "base/Text.h"
#include "muralis/Caller.h"
#include "music/TrackKeys.h"
#include "music/TrackRecord.h"
#include "platform/appkit/NSImage.h"
#include "platform/scriptingbridge/DemoPlayer.h"
#include "programs/muralis/nowplaying/Packet.h"
#include "support/FakePlayer.h"
#include "support/TestSurroundings.h"

#include <gtest/gtest.h>

#include <functional>

namespace vitrel {
namespace {

using Json = nlohmann::json;

std::shared_ptr<SBTrack> fullTrack()
{
    auto track = trackNamed("Nur einmal \"so\" \xF0\x9F\x8E\xB5");
    track->artist = "Artist";
    track->album = "Album";
    track->genre = "Genre";
    track->composer = "Composer";
    track->time = "3:45";
    track->year = 1999;
    track->trackNumber = 3;
    track->trackCount = 12;
    track->discNumber = 1;
    track->discCount = 2;
    track->rating = 80;
    track->playedCount = 7;
    return track;
}

std::shared_ptr<SBArtwork> artworkOf(Bytes bytes)
{
    return std::make_shared<SBArtwork>(std::make_shared<const Bytes>(std::move(bytes)));
}

// The companion's state over a player in the test's hand.
struct Told : TestSurroundings {
    FakePlayers players;
    FakePlayer& player = *players.player;
    std::unique_ptr<NowPlaying> nowPlaying;

    Told()
    {
        surroundings.players = &players;
        nowPlaying = std::make_unique<NowPlaying>(surroundings, "run");
    }
    void play(std::shared_ptr<SBTrack> track)
    {
        player.running = true;
        player.state = kPlayerStatePlaying;
        player.track = std::move(track);
        post();
    }
    void playWith(std::shared_ptr<SBArtwork> artwork)
    {
        auto track = fullTrack();
        if (artwork)
            track->artworks = {std::move(artwork)};
        play(track);
    }
    void post()
    {
        center.postNotificationNameObjectUserInfo(
            players.identifier + ".playerInfo", players.identifier + ".player", {});
        loop.turn();
    }
    void makeCovers()
    {
        initiated.drain();
        loop.turn();
    }
    std::string changeID() const { return Json::parse(*nowPlaying->stateAnswer()).at("ChangeID"); }
    Json data() const { return Json::parse(*nowPlaying->dataAnswer()).at("Data"); }
    bool hasCover() const { return data().contains("Track Artwork"); }
};

// With an identifier that stays, a change is never fetched; with one that moves by itself, the saver fetches a
// megabyte and starts its transition twice a second.
TEST(ChangeID, MovesExactlyWhenTheDataDoAndFromRunToRun)
{
    Told in;
    const auto step = [&](const char* what, bool moves, const std::function<void(SBTrack&)>& change) {
        const std::string before = in.changeID();
        const Json data = in.data();
        in.clock.time += Seconds(1);
        auto track = fullTrack();
        change(*track);
        in.player.track = track;
        in.post();
        EXPECT_EQ(in.changeID() != before, moves) << what;
        EXPECT_EQ(in.data() != data, moves) << what;
    };
    const auto nothing = [](SBTrack&) {};
    EXPECT_EQ(in.changeID(), "run-1");
    EXPECT_NE(*NowPlaying(in.surroundings, "other").stateAnswer(), *in.nowPlaying->stateAnswer());
    in.play(fullTrack());
    EXPECT_EQ(in.changeID(), "run-2");
    step("nothing", false, nothing);
    const std::pair<const char*, std::string SBTrack::*> texts[]
        = {{"name", &SBTrack::name}, {"artist", &SBTrack::artist}, {"album", &SBTrack::album},
            {"genre", &SBTrack::genre}, {"composer", &SBTrack::composer}, {"time", &SBTrack::time}};
    for (const auto& [what, member] : texts) {
        step(what, true, [member = member](SBTrack& t) { t.*member = "9:59"; });
        step("and back", true, nothing);
    }
    const std::pair<const char*, std::int64_t SBTrack::*> numbers[] = {{"year", &SBTrack::year},
        {"track", &SBTrack::trackNumber}, {"tracks", &SBTrack::trackCount}, {"disc", &SBTrack::discNumber},
        {"discs", &SBTrack::discCount}, {"rating", &SBTrack::rating}, {"played", &SBTrack::playedCount}};
    for (const auto& [what, member] : numbers) {
        step(what, true, [member = member](SBTrack& t) { t.*member = 99; });
        step("and back", true, nothing);
    }
    step("position", false, [&](SBTrack&) { in.player.position = 100; });
    step("paused", true, [&](SBTrack&) { in.player.state = kPlayerStatePaused; });
    step("stopped", true, [&](SBTrack&) { in.player.state = kPlayerStateStopped; });
    step("plays again", true, [&](SBTrack&) { in.player.state = kPlayerStatePlaying; });
    step("gone", true, [&](SBTrack&) { in.player.running = false; });
    step("still gone", false, [&](SBTrack& t) { t.name = "y"; });
    EXPECT_NE(in.changeID(), "run-1") << "back where it began, and yet the saver has to fetch what it has lost";
}

Dictionary dictionaryOf(const Json& packet)
{
    Dictionary out;
    for (const auto& [key, value] : packet.items())
        out[key] = value.is_string() ? Value(value.get<std::string>()) : Value(value.get<std::int64_t>());
    return out;
}

// What comes out at the far end of the wire is what the saver would have had from the player itself.
TEST(Packet, FillsTheRecordAsThePlayerItselfWould)
{
    for (const std::uint32_t state : {kPlayerStatePlaying, kPlayerStatePaused, kPlayerStateStopped,
             kPlayerStateFastForwarding, kPlayerStateRewinding}) {
        for (const bool hasArtwork : {true, false}) {
            Told in;
            in.playWith(hasArtwork ? artworkOf(pngOf(30, 20)) : nullptr);
            in.player.state = state;
            in.post();
            in.makeCovers();
            Dictionary direct, wired;
            writeTrack(direct, in.player.track.get(), state == kPlayerStatePlaying, nullptr);
            writePacket(wired, dictionaryOf(in.data()), nullptr);
            EXPECT_EQ(in.hasCover(), hasArtwork);
            EXPECT_EQ(wired["Date"], Value(dateText(in.clock.date())));
            wired.erase("Date");
            for (const char* key : {kiTunesArtwork, kiVisualizeAlbumArt}) {
                ASSERT_EQ(wired.count(key), direct.count(key));
                if (hasArtwork) {
                    EXPECT_EQ(wired[key].image()->size(), direct[key].image()->size());
                }
                wired.erase(key);
                direct.erase(key);
            }
            EXPECT_EQ(Value(wired), Value(direct));
        }
    }
}

TEST(Packet, SaysNothingButStoppedWithoutAPlayer)
{
    Json told = Told().data();
    EXPECT_EQ(told.size(), 2u);
    EXPECT_EQ(told.at("Player State"), "Stopped");
    Dictionary record;
    writePacket(record, dictionaryOf(told), nullptr);
    EXPECT_EQ(record[kiTunesName], Value(""));
    EXPECT_EQ(record[kiTunesIsArtworkAvailable], Value(false));
    EXPECT_EQ(record[kiVisualizeIsPlaying], Value(false));
}

// The saver counts two parts, minutes and seconds; of three it makes nothing.
TEST(Packet, TellsHoursInMinutes)
{
    const std::tuple<const char*, const char*> cases[] = {{"3:45", "3:45"}, {"1:00:00", "60:00"}, {"1:02:03", "62:03"},
        {"27:46:40", "1666:40"}, {"", ""}, {"1:2:3:4", "1:2:3:4"}, {"x", "x"}};
    for (const auto& [time, told] : cases)
        EXPECT_EQ(minutesAndSeconds(time), told);
    const auto track = fullTrack();
    track->time = "1:02:03";
    const Json packet = trackPacket(kPlayerStatePlaying, track.get(), nullptr);
    EXPECT_EQ(packet.at("Length"), "1:02:03");
    EXPECT_EQ(packet.at("Time"), "62:03");
}

// Published at once, each new track would show the picture of tracks without a cover for half a second.
TEST(NowPlaying, WaitsAMomentForTheCoverAndNoLonger)
{
    Told in;
    in.playWith(artworkOf(pngOf(4, 4)));
    EXPECT_EQ(in.changeID(), "run-1");
    in.makeCovers();
    EXPECT_EQ(in.changeID(), "run-2");
    EXPECT_TRUE(in.hasCover());
    in.fastForwardBy(Seconds(1));
    EXPECT_EQ(in.changeID(), "run-2");

    in.playWith(std::make_shared<SBArtwork>(nullptr)); // on its way
    EXPECT_TRUE(in.comesAfter(Seconds(0.3), [&] { return in.changeID() == "run-3"; }));
    EXPECT_FALSE(in.hasCover());
    in.playWith(artworkOf(pngOf(4, 5)));
    in.makeCovers();
    EXPECT_EQ(in.changeID(), "run-4") << "an artwork that comes later is a change";
    EXPECT_TRUE(in.hasCover());

    in.playWith(artworkOf({'n', 'o'}));
    in.makeCovers();
    EXPECT_EQ(in.data().at("Artist"), "Artist");
    EXPECT_FALSE(in.hasCover()) << "a broken one";

    in.playWith(artworkOf(pngOf(5, 5)));
    in.nowPlaying.reset(); // while it is being made
    in.makeCovers();
    in.fastForwardBy(Seconds(1));
    in.post();
}

// Decoding and encoding takes a tenth of a second of a core; a player says one change several times.
TEST(NowPlaying, MakesEachCoverOnce)
{
    Told in;
    const auto first = artworkOf(pngOf(4, 4)), second = artworkOf(pngOf(5, 5));
    std::size_t made = 0;
    for (const auto& artwork : {first, first, second, first, second}) {
        in.playWith(artwork);
        in.post();
        made += in.initiated.drain();
        in.loop.turn();
        EXPECT_TRUE(in.hasCover());
    }
    EXPECT_EQ(made, 2u);
}

// A player's word for a cover may be 60 megapixels, or a file of any kind; the wire carries neither.
TEST(Cover, IsAPlainSmallPictureOfTheSameShape)
{
    const auto sent = [](const Bytes& artwork) {
        const auto text = coverText(NSImage::imageWithData(artwork).get());
        return text ? *decodeBase64(*text) : Bytes();
    };
    const std::tuple<int, int, int, int> cases[]
        = {{30, 20, 30, 20}, {1200, 12, 1200, 12}, {2400, 12, 1200, 6}, {10, 3000, 4, 1200}, {5000, 2, 1200, 1}};
    for (const auto& [width, height, sentWidth, sentHeight] : cases) {
        const Bytes file = sent(pngOf(width, height));
        EXPECT_TRUE(textOf(file).starts_with("\xFF\xD8\xFF")) << "a JPEG";
        const Bitmap bitmap = *NSImage::imageWithData(file)->representations()[0].bitmap();
        EXPECT_EQ(bitmap.width, sentWidth) << width;
        EXPECT_EQ(bitmap.height, sentHeight) << width;
        for (const int shift : {0, 8, 16})
            EXPECT_NEAR(double(bitmap.pixels[0] >> shift & 255), double(0x336699 >> shift & 255), 3);
    }
    const Bitmap clear{2000, 10, std::vector<std::uint32_t>(20000, 0x80402000u)};
    const Bitmap bitmap = *NSImage::imageWithData(sent(*pngRepresentation(clear)))->representations()[0].bitmap();
    EXPECT_EQ(bitmap.width, 1200);
    EXPECT_EQ(bitmap.pixels[0] >> 24, 0x80u);
    EXPECT_EQ(coverText(nullptr), nullptr);
}

} // namespace
} // namespace vitrel
