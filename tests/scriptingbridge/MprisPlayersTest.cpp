#include "platform/scriptingbridge/MprisPlayers.h"

#include "base/Text.h"
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/scriptingbridge/DemoPlayer.h"
#include "support/FakePlayer.h"
#include "support/TestSurroundings.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class FakeBus final : public PlayerBus
{
public:
    void start(PlayerBusListener& listener) override { this->listener = &listener; }
    bool isSettled() const override { return true; }
    bool isSilent(const std::string&) const override { return isSilentPlayer; }
    void ask(const std::string& name) override { asked.push_back(name); }
    bool isSilentPlayer = false;
    std::vector<std::string> asked;
    PlayerBusListener* listener = nullptr;
};

class Listener final : public NSObject
{
public:
    void heard(const Value& value)
    {
        const auto notification = std::static_pointer_cast<NSNotification>(value.object());
        EXPECT_EQ(notification->object, "com.apple.iTunes.player");
        const auto text = [&](const char* key) { return vitrel::description(notification->userInfo.at(key)); };
        log.push_back(text("Player State") + " " + text("Artwork Count"));
    }
    std::vector<std::string> log;
};

struct Room : TestSurroundings {
    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    FakeBus* bus = nullptr;
    std::unique_ptr<MprisPlayers> players;
    std::shared_ptr<SBApplication> player;

    explicit Room(const std::string& preferred = {})
    {
        auto made = std::make_unique<FakeBus>();
        bus = made.get();
        players = std::make_unique<MprisPlayers>(surroundings, std::move(made), preferred);
        player = players->applicationWithBundleIdentifier("com.apple.iTunes");
        center.addObserverSelectorNameObject(listener, SELECTOR(Listener, heard), "com.apple.iTunes.playerInfo");
    }
    static Dictionary properties(const std::string& status, const std::string& title, const std::string& art = {})
    {
        Dictionary metadata{{"xesam:title", title}, {"mpris:trackid", "/" + title}, {"mpris:length", 100'000'000}};
        if (!art.empty())
            metadata["mpris:artUrl"] = art;
        return {{"PlaybackStatus", status}, {"Metadata", Value(metadata)}};
    }
    void appears(const std::string& name, const std::string& status, const std::string& title, int process = 0)
    {
        bus->listener->playerAppeared(name, {process}, properties(status, title));
        turn();
    }
    void changes(const std::string& name, const Dictionary& properties)
    {
        bus->listener->playerChanged(name, properties);
        turn();
    }
    // Lets notifications and artwork come.
    void turn()
    {
        for (int k = 0; k < 4; ++k) {
            loop.turn();
            initiated.drain();
        }
        loop.turn();
    }
    std::string title() { return player->currentTrack() ? player->currentTrack()->name : "none"; }
    std::shared_ptr<const Bytes> art() { return player->currentTrack()->artworks.at(0)->rawData(); }
    std::vector<std::string> heard() { return std::exchange(listener->log, {}); }
};

TEST(MprisPlayers, TellsPresenceStateAndTrackOnceEach)
{
    Room in;
    EXPECT_FALSE(in.player->isRunning());
    EXPECT_EQ(in.player->currentTrack(), nullptr);
    in.appears("mpv", "Playing", "A");
    EXPECT_TRUE(in.player->isRunning());
    EXPECT_EQ(in.player->playerState(), kPlayerStatePlaying);
    EXPECT_EQ(in.title(), "A");
    EXPECT_THAT(in.players->runningApplications(), ElementsAre("com.apple.iTunes"));
    EXPECT_THAT(in.heard(), ElementsAre("Playing 0"));
    in.changes("mpv", Room::properties("Playing", "A"));
    EXPECT_THAT(in.heard(), IsEmpty()) << "a repetition";
    in.changes("mpv", {{"PlaybackStatus", "Paused"}});
    EXPECT_EQ(in.player->playerState(), kPlayerStatePaused);
    in.changes("mpv", {{"Volume", 0.5}, {"PlaybackStatus", Value(Array{})}});
    EXPECT_EQ(in.player->playerState(), kPlayerStateStopped) << "a state that is none";
    in.bus->listener->playerVanished("mpv");
    in.turn();
    EXPECT_FALSE(in.player->isRunning());
    EXPECT_EQ(in.player->currentTrack(), nullptr);
    EXPECT_THAT(in.heard(), ElementsAre("Paused 0", "Stopped 0", "Stopped 0"));
}

TEST(MprisPlayers, TellsWhatCameInOneTurnAsOneChange)
{
    Room in;
    in.appears("mpv", "Playing", "A");
    in.heard();
    for (const char* title : {"B", "C", "D"})
        in.bus->listener->playerChanged("mpv", Room::properties("Playing", title));
    in.turn();
    EXPECT_THAT(in.heard(), ElementsAre("Playing 0"));
    EXPECT_EQ(in.title(), "D");
}

// a and b are applications, f is a browser; capitals play, small letters pause. The last state is what counts.
TEST(MprisPlayers, ChoosesTheOneToShow)
{
    const struct {
        std::vector<std::string> events;
        const char* preferred;
        const char* shown;
        const char* why;
    } cases[] = {
        {{"a", "b"}, "", "a", "none has played: the first"},
        {{"a", "B"}, "", "b", "the one that plays"},
        {{"A", "B"}, "", "b", "of two that play the last that began"},
        {{"A", "B", "A"}, "", "b", "a repetition is no beginning"},
        {{"A", "B", "b"}, "", "a", "the other still plays"},
        {{"A", "B", "a", "b"}, "", "b", "all pause: the last that played"},
        {{"A", "F"}, "", "a", "a browser yields to an application"},
        {{"a", "F"}, "", "firefox.instance_1", "unless that doesn't play"},
        {{"A", "B"}, "a", "a", "the user's choice"},
        {{"a", "B"}, "A", "a", "even if it pauses"},
        {{"A", "f"}, "firefox", "firefox.instance_1", "by the first part of its name"},
        {{"A", "B"}, "mpv", "b", "a choice that isn't there"},
        {{"A", "B", "-b"}, "", "a", "one that went"},
    };
    for (const auto& [events, preferred, shown, why] : cases) {
        Room in(preferred);
        for (const std::string& event : events) {
            const char letter = static_cast<char>(event.back() | 0x20);
            const std::string name = letter == 'f' ? "firefox.instance_1" : std::string(1, letter);
            const std::string status = event.back() == letter ? "Paused" : "Playing";
            const auto names = in.players->names();
            if (event.front() == '-')
                in.bus->listener->playerVanished(name);
            else if (std::find(names.begin(), names.end(), name) == names.end())
                in.appears(name, status, name);
            else
                in.changes(name, {{"PlaybackStatus", status}});
            in.turn();
        }
        EXPECT_EQ(in.title(), shown) << why;
        EXPECT_EQ(in.players->names().front(), shown) << why;
    }
}

TEST(MprisPlayers, CountsAProgramWithTwoNamesOnce)
{
    Room in;
    in.appears("vlc.instance7", "Playing", "A", 7);
    in.appears("vlc", "Paused", "B", 7);
    EXPECT_EQ(in.title(), "B") << "the shorter name speaks";
    in.appears("mpv.instance9", "Playing", "C", 9);
    EXPECT_EQ(in.title(), "C") << "another process";
}

TEST(MprisPlayers, ExtrapolatesThePosition)
{
    Room in;
    auto properties = Room::properties("Playing", "A");
    properties["Position"] = 10'000'000;
    in.bus->listener->playerAppeared("mpv", {}, properties);
    in.turn();
    EXPECT_EQ(in.player->playerPosition(), 10);
    in.clock.time += 5s;
    EXPECT_EQ(in.player->playerPosition(), 15);
    in.changes("mpv", {{"Rate", 2.0}});
    in.clock.time += 5s;
    EXPECT_EQ(in.player->playerPosition(), 25);
    in.changes("mpv", {{"PlaybackStatus", "Paused"}});
    in.clock.time += 5s;
    EXPECT_EQ(in.player->playerPosition(), 25);
    in.bus->listener->playerSeeked("mpv", 40);
    EXPECT_EQ(in.player->playerPosition(), 40);
    in.changes("mpv", {{"PlaybackStatus", "Playing"}});
    in.clock.time += 1000s;
    EXPECT_EQ(in.player->playerPosition(), 100) << "not beyond its end";
    in.changes("mpv", Room::properties("Playing", "B"));
    EXPECT_EQ(in.player->playerPosition(), 0) << "a new track";
}

std::string dataOf(int side)
{
    return "data:;base64," + encodeBase64(pngOf(side, side));
}

TEST(MprisPlayers, ArtworkThatComesLateIsTold)
{
    Room in;
    in.bus->listener->playerAppeared("mpv", {}, Room::properties("Playing", "A", dataOf(4)));
    in.loop.turn();
    in.loop.turn();
    EXPECT_THAT(in.heard(), ElementsAre("Playing 1"));
    EXPECT_EQ(in.art(), nullptr) << "on its way";
    in.turn();
    EXPECT_THAT(in.heard(), ElementsAre("Playing 1"));
    EXPECT_EQ(*in.art(), pngOf(4, 4));
    in.changes("mpv", Room::properties("Playing", "B"));
    EXPECT_THAT(in.player->currentTrack()->artworks, IsEmpty());
}

// Players write each cover to the same file.
TEST(MprisPlayers, ANewTrackReadsTheSameAddressAnew)
{
    Room in;
    const std::string path = in.bundleFolder.write("cover.png", "first"), address = "file://" + path;
    in.bus->listener->playerAppeared("mpv", {}, Room::properties("Playing", "A", address));
    in.turn();
    EXPECT_EQ(textOf(*in.art()), "first");
    in.bundleFolder.write("cover.png", "second");
    in.changes("mpv", Room::properties("Playing", "B", address));
    EXPECT_EQ(textOf(*in.art()), "second");
    in.changes("mpv", Room::properties("Playing", "A", address));
    EXPECT_EQ(textOf(*in.art()), "first") << "and the old one is still known";
}

TEST(MprisPlayers, AnAnswerForATrackThatHasGoneIsDropped)
{
    Room in;
    const std::string address = "file://" + in.bundleFolder.write("cover.png", "of B");
    in.bus->listener->playerAppeared("mpv", {}, Room::properties("Playing", "A", address));
    in.loop.turn();
    in.changes("mpv", Room::properties("Playing", "B", address)); // both reads run now
    in.bundleFolder.write("cover.png", "of A");
    in.changes("mpv", Room::properties("Playing", "A", address));
    EXPECT_EQ(textOf(*in.art()), "of A") << "what was read for A too late was B's";
    EXPECT_THAT(in.initiated.blocks, IsEmpty());
}

TEST(MprisPlayers, ASmallerPictureOfTheSameTrackReplacesNothing)
{
    const struct {
        std::vector<std::string> addresses;
        std::optional<int> shown;
        const char* why;
    } cases[] = {
        {{dataOf(8), dataOf(4)}, 8, "smaller"},
        {{dataOf(4), dataOf(8)}, 8, "larger"},
        {{dataOf(8), "data:,broken"}, 8, "none at all"},
        {{"data:,broken", dataOf(8)}, 8, "after none"},
        {{dataOf(8), "data:;base64,!"}, 8, "one that can't be read"},
    };
    for (const auto& [addresses, shown, why] : cases) {
        Room in;
        in.appears("mpv", "Playing", "A");
        for (const std::string& address : addresses)
            in.changes("mpv", Room::properties("Playing", "A", address));
        EXPECT_EQ(*in.art(), pngOf(*shown, *shown)) << why;
        in.changes("mpv", Room::properties("Playing", "B", dataOf(2)));
        EXPECT_EQ(*in.art(), pngOf(2, 2)) << why << ": another track";
    }
}

TEST(MprisPlayers, WaitsForAFileThatIsNamedBeforeItIsWritten)
{
    Room in;
    in.bus->listener->playerAppeared(
        "mpv", {}, Room::properties("Playing", "A", "file://" + (in.bundleFolder / "late.png")));
    in.turn();
    EXPECT_EQ(in.art(), nullptr);
    in.bundleFolder.write("late.png", "cover");
    for (int k = 0; k < 3; ++k) {
        in.fastForwardBy(1s);
        in.turn();
    }
    ASSERT_TRUE(in.art());
    EXPECT_EQ(textOf(*in.art()), "cover");
}

TEST(MprisPlayers, GivesUpOnAFileThatNeverComes)
{
    Room in;
    in.bus->listener->playerAppeared("mpv", {}, Room::properties("Playing", "A", "file:///none.png"));
    for (int k = 0; k < 20; ++k) {
        in.fastForwardBy(1s);
        in.turn();
    }
    EXPECT_EQ(in.loop.nextDue(), std::nullopt);
    EXPECT_THAT(in.initiated.blocks, IsEmpty());
}

// What is under way when the program ends must find nothing that is gone.
TEST(MprisPlayers, MayGoWhileArtworkIsOnItsWay)
{
    Room in;
    in.bus->listener->playerAppeared("mpv", {}, Room::properties("Playing", "A", dataOf(4)));
    in.loop.turn();
    in.bus->listener->playerChanged("mpv", {{"PlaybackStatus", "Paused"}});
    in.players.reset();
    in.turn();
    EXPECT_FALSE(in.player->isRunning());
    EXPECT_EQ(in.player->playerPosition(), 0);
}

TEST(DemoPlayer, PlaysItsTracksInTurn)
{
    TestSurroundings in;
    const auto listener = std::make_shared<Listener>();
    const auto cover = std::make_shared<const Bytes>(pngOf(1, 1));
    auto demo = std::make_unique<DemoPlayer>(in.surroundings,
        std::vector<DemoTrack>{{"A", "X", "", "", 1999, 225, cover}, {"B", "", "", "", 0, 0, nullptr}});
    const auto player = demo->applicationWithBundleIdentifier("com.apple.iTunes");
    in.center.addObserverSelectorNameObject(listener, SELECTOR(Listener, heard), "com.apple.iTunes.playerInfo");
    EXPECT_TRUE(player->isRunning());
    EXPECT_EQ(player->playerState(), kPlayerStatePlaying);
    EXPECT_EQ(player->currentTrack()->time, "3:45");
    EXPECT_EQ(player->currentTrack()->artworks.at(0)->rawData(), cover);
    std::string names = player->currentTrack()->name;
    for (int k = 0; k < 4; ++k) {
        in.fastForwardBy(20s);
        in.loop.turn();
        names += player->currentTrack()->name;
    }
    EXPECT_EQ(names, "ABABA");
    EXPECT_THAT(listener->log, ElementsAre("Playing 0", "Playing 1", "Playing 0", "Playing 1"));
    demo.reset();
    EXPECT_FALSE(player->isRunning());
    in.fastForwardBy(100s);
    EXPECT_FALSE(DemoPlayer(in.surroundings, {}).applicationWithBundleIdentifier("x")->isRunning());
}

} // namespace
} // namespace vitrel
