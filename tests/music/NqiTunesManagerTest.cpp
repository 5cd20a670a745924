#include "music/NqiTunesManager.h"

#include "platform/appkit/NSImage.h"
#include "support/FakePlayer.h"
#include "support/TestSurroundings.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;

struct Listener final : NqiTunesObserver {
    void trackChanged(const Value& info) override
    {
        const Dictionary& members = *info.dictionary();
        const auto track = members.find("TrackData");
        log.push_back("changed "
            + (track == members.end() ? "without a track"
                                      : std::static_pointer_cast<SBTrack>(track->second.object())->name));
        EXPECT_EQ(members.size(), track == members.end() ? 1u : 2u);
        EXPECT_TRUE(members.at("Date").as<Date>());
    }
    void playerDidPause() override { log.push_back("paused"); }
    void playerDidStop() override { log.push_back("stopped"); }
    void clearSongIDWithArtworkCount(const Value& count) override { log.push_back("clear " + description(count)); }
    void itunesDidClose() override { log.push_back("closed"); }

    std::vector<std::string> log;
};

// Hears nothing: events must pass it by.
struct Deaf final : NqiTunesObserver {
};

struct Room : TestSurroundings {
    FakePlayers players;
    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    NqiTunesManager* manager = nullptr;

    explicit Room(OperatingSystemVersion version = {})
    {
        surroundings.players = &players;
        surroundings.systemVersion = version;
        manager = &NqiTunesManager::shared(surroundings);
        manager->addObserver(std::make_shared<Deaf>());
        manager->addObserver(listener);
    }
    void play(const std::string& name)
    {
        players.player->running = true;
        players.player->state = kPlayerStatePlaying;
        players.player->track = trackNamed(name);
    }
    void post(const std::string& state, const std::string& object = "com.apple.iTunes.player",
        const std::string& name = "com.apple.iTunes.playerInfo")
    {
        center.postNotificationNameObjectUserInfo(name, object, {{"Player State", state}, {"Artwork Count", 1}});
        loop.turn();
    }
    std::vector<std::string> heard() { return std::exchange(listener->log, {}); }
};

TEST(NqiTunesManager, TellsEveryNotificationOfAPlayerThatPlays)
{
    Room in;
    in.play("A");
    in.post("Playing");
    in.post("Playing");
    EXPECT_THAT(in.heard(), ElementsAre("clear 1", "changed A", "clear 1", "changed A"));
    in.post("Playing", "com.apple.Music.player");
    in.post("Playing", "com.apple.iTunes.player", "com.apple.Music.playerInfo");
    EXPECT_THAT(in.heard(), IsEmpty()) << "another sender, another name";
}

TEST(NqiTunesManager, ActsByThePlayersState)
{
    const std::tuple<std::uint32_t, std::vector<std::string>, std::vector<std::string>, const char*> cases[]
        = {{0x6B505350, {"changed A"}, {}, "playing"}, {0x6B505370, {"paused"}, {"checkIfiTunesDidClose"}, "paused"},
            {0x6B505353, {"stopped"}, {}, "stopped"}, {0x6B505346, {}, {}, "fast forward"},
            {0x6B505352, {}, {}, "rewind"}, {42, {}, {"updateiTunesInfo"}, "unknown: asked again"}};
    for (const auto& [state, heard, pending, why] : cases) {
        Room in;
        in.play("A");
        in.players.player->state = state;
        in.manager->updateiTunesInfo();
        EXPECT_EQ(in.heard(), heard) << why;
        EXPECT_EQ(in.loop.pending(*in.manager), pending) << why;
    }
    Room in;
    in.play("A");
    in.players.player->track = nullptr;
    in.manager->updateiTunesInfo();
    EXPECT_THAT(in.heard(), ElementsAre("changed without a track"));
}

TEST(NqiTunesManager, PollsAPausedPlayerTwiceAndChecksWhetherItCloses)
{
    Room in;
    in.play("A");
    in.players.player->state = kPlayerStatePaused;
    in.post("Paused");
    EXPECT_THAT(in.heard(), ElementsAre("clear 1", "paused"));
    in.players.player->running = false;
    const auto hears = [&] { return !in.listener->log.empty(); };
    EXPECT_TRUE(in.comesAfter(0.3s, hears)) << "the check";
    EXPECT_THAT(in.heard(), ElementsAre("closed"));
    EXPECT_TRUE(in.comesAfter(0.7s, hears)) << "the poll";
    EXPECT_THAT(in.heard(), ElementsAre("closed"));
    in.post("Stopped");
    in.fastForwardBy(2s);
    EXPECT_THAT(in.heard(), ElementsAre("closed")) << "no extra poll for a stop";
}

TEST(NqiTunesManager, RetriesAnUnknownStateUntilItIsKnown)
{
    Room in;
    in.play("A");
    in.players.player->state = 0;
    in.manager->updateiTunesInfo();
    in.fastForwardBy(0.31s);
    EXPECT_THAT(in.heard(), IsEmpty());
    in.players.player->state = kPlayerStatePlaying;
    EXPECT_TRUE(in.comesAfter(0.29s, [&] { return !in.listener->log.empty(); }));
    EXPECT_THAT(in.heard(), ElementsAre("changed A"));
    EXPECT_THAT(in.loop.pending(*in.manager), IsEmpty());
}

TEST(NqiTunesManager, TellsObserversInOrderAndTwiceIfAddedTwice)
{
    Room in;
    in.manager->addObserver(in.listener);
    in.manager->itunesDidClose();
    EXPECT_THAT(in.heard(), ElementsAre("closed", "closed"));
    in.manager->removeObserver(*in.listener);
    in.manager->itunesDidClose();
    EXPECT_THAT(in.heard(), IsEmpty());
}

TEST(NqiTunesManager, AFailedEventOfALostConnectionIsAClosedPlayer)
{
    Room in;
    const auto delegate = in.players.player->delegate();
    ASSERT_TRUE(delegate);
    delegate->eventDidFailWithError("get", {"NSOSStatusErrorDomain", -600, ""});
    in.loop.turn();
    EXPECT_THAT(in.heard(), IsEmpty());
    delegate->eventDidFailWithError("get", {"NSOSStatusErrorDomain", -609, ""});
    EXPECT_THAT(in.heard(), IsEmpty()) << "not at once";
    in.loop.turn();
    EXPECT_THAT(in.heard(), ElementsAre("closed"));
    in.play("A");
    in.manager->cleanup();
    in.post("Paused");
    EXPECT_THAT(in.heard(), IsEmpty()) << "its cleanup ends everything";
    EXPECT_THAT(in.loop.pending(*in.manager), IsEmpty());
    EXPECT_FALSE(in.manager->isRunning());
}

TEST(NqiTunesManager, ChoosesThePlayerByTheSystemsVersion)
{
    const std::pair<OperatingSystemVersion, const char*> cases[] = {{{10, 13, 6}, "com.apple.iTunes"},
        {{10, 14, 9}, "com.apple.iTunes"}, {{10, 15, 0}, "com.apple.Music"}, {{12, 0, 0}, "com.apple.Music"}};
    for (const auto& [version, identifier] : cases) {
        Room in(version);
        EXPECT_EQ(in.players.identifier, identifier) << version.minorVersion;
        in.surroundings.runningApplications = [] { return std::vector<std::string>{"x", "com.apple.Music"}; };
        EXPECT_EQ(in.manager->isARunningApplication(), in.manager->isAppAvailableMusic());
    }
}

struct DescribedArtwork final : SBArtwork {
    explicit DescribedArtwork(Result<Value, NSError> answer)
        : SBArtwork(std::make_shared<const Bytes>(pngOf(1, 1)))
        , answer(std::move(answer))
    { }
    Result<Value, NSError> data() const override { return answer; }
    Result<Value, NSError> answer;
};

TEST(NqiTunesManager, ReadsArtworkAsEachPlayerGivesIt)
{
    Room old, newer({10, 15, 0});
    const auto width = [](const std::shared_ptr<const NSImage>& image) { return image ? image->size().width : 0; };
    const DescribedArtwork described(Value(std::shared_ptr<NSObject>(
        std::make_shared<NSAppleEventDescriptor>(std::make_shared<const Bytes>(pngOf(2, 2))))));
    EXPECT_EQ(width(old.manager->trackToImage(described)), 1) << "rawData";
    EXPECT_EQ(width(newer.manager->trackToImage(described)), 2) << "a descriptor";
    const DescribedArtwork image(Value(NSImage::imageWithData(pngOf(3, 3))));
    EXPECT_EQ(width(newer.manager->trackToImage(image)), 3) << "an image as it came";
    const DescribedArtwork nothing{Value()};
    EXPECT_EQ(newer.manager->trackToImage(nothing), nullptr);
    EXPECT_THAT(newer.log, IsEmpty());
    const DescribedArtwork failing{NSError{"d", 5, "refused"}};
    EXPECT_EQ(newer.manager->trackToImage(failing), nullptr);
    EXPECT_THAT(newer.log, ElementsAre(HasSubstr("Exception : Error Domain=d Code=5")));
}

TEST(NqiTunesManager, ReadsThePlayerThatIsThere)
{
    for (const OperatingSystemVersion version : {OperatingSystemVersion{10, 13, 6}, {10, 15, 0}}) {
        Room in(version);
        in.play("A");
        in.players.player->position = 12.5;
        const auto track = in.players.player->track;
        track->artworks = {std::make_shared<SBArtwork>(std::make_shared<const Bytes>(pngOf(2, 3))), nullptr};
        const auto tracks = [&] {
            return std::vector{
                in.manager->currentTrack(), in.manager->currentTrackiTunes(), in.manager->currentTrackMusic()};
        };
        EXPECT_EQ(in.manager->playerPosition(), 12.5f);
        EXPECT_THAT(tracks(), testing::Each(track));
        EXPECT_EQ(NqiTunesManager::trackArtwork(in.surroundings)->size(), (NSSize{2, 3}));
        in.players.player->running = false;
        EXPECT_THAT(tracks(), testing::Each(nullptr));
        EXPECT_EQ(NqiTunesManager::currentTrack(in.surroundings), track) << "without asking whether it runs";
        track->artworks = {nullptr};
        EXPECT_EQ(NqiTunesManager::trackArtwork(in.surroundings), nullptr);
        track->artworks.clear();
        EXPECT_EQ(NqiTunesManager::trackArtwork(in.surroundings), nullptr);
        in.players.player->track = nullptr;
        EXPECT_EQ(NqiTunesManager::trackArtwork(in.surroundings), nullptr);
    }
}

TEST(NqiTunesManager, SaysEveryTenthOfASecondWhetherThePlayerRuns)
{
    Room in;
    in.manager->logiTunesStatus();
    in.play("A");
    EXPECT_TRUE(in.comesAfter(0.1s, [&] { return in.log.size() == 2; }));
    EXPECT_TRUE(in.comesAfter(0.1s, [&] { return in.log.size() == 3; }));
    EXPECT_THAT(in.log, ElementsAre(HasSubstr("is NOT running"), HasSubstr("is running"), HasSubstr("is running")));
}

TEST(NqiTunesManager, WorksOnWithoutALibraryAndWithoutAPlayer)
{
    TestSurroundings in;
    FakePlayers players;
    players.libraryFails = true;
    in.surroundings.players = &players;
    EXPECT_EQ(NqiTunesManager::shared(in.surroundings).lib(), nullptr);
    EXPECT_THAT(in.log, ElementsAre(HasSubstr("Error loading ITLibrary")));

    TestSurroundings bare;
    auto& manager = NqiTunesManager::shared(bare.surroundings);
    EXPECT_FALSE(manager.isRunning() || manager.isARunningApplication());
    EXPECT_EQ(manager.currentTrack(), nullptr);
    manager.updateiTunesInfo();
    manager.cleanup();
}

} // namespace
} // namespace vitrel
