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
using testing::ElementsAre, testing::IsEmpty;

struct FakeBus final : PlayerBus {
    void start(PlayerBusListener& listener) override { this->listener = &listener; }
    bool isSettled() const override { return true; }
    bool isSilent(const std::string&) const override { return isSilentPlayer; }
    void ask(const std::string& name) override { asked.push_back(name); }
    bool isSilentPlayer = false;
    std::vector<std::string> asked;
    PlayerBusListener* listener = nullptr;
};

const PlayerArrival kThere{0, 0, true};

// Writes down what is told, and when: the seconds, the state, the title, the length, and "+" with the picture, "?"
// while that is on its way.
struct Diary final : NSObject {
    Diary(TestSurroundings& in, const std::shared_ptr<SBApplication>& player)
        : in(in)
        , player(*player)
    { }
    void heard(const Value& value)
    {
        const auto notification = std::static_pointer_cast<NSNotification>(value.object());
        const auto track = player.currentTrack();
        char time[20];
        std::snprintf(time, sizeof time, "%.2f ", in.clock.time.count());
        EXPECT_EQ(notification->object, "com.apple.iTunes.player");
        const auto told = player.playerState();
        const std::string state = told == kPlayerStatePlaying ? "Playing"
            : told == kPlayerStatePaused                      ? "Paused"
                                                              : "Stopped";
        if (track) {
            EXPECT_EQ(notification->userInfo.at("Player State"), Value(state));
            EXPECT_EQ(notification->userInfo.at("Artwork Count"), Value(int(track->artworks.size())));
        }
        lines.push_back(time + (!track ? "gone" : state + " " + track->name + " " + track->time)
            + (!track || track->artworks.empty()       ? ""
                    : track->artworks.front()->image() ? "+"
                                                       : "?"));
    }
    TestSurroundings& in;
    SBApplication& player;
    std::vector<std::string> lines;
};

// Of a minute each, and a moment that no other has.
Dictionary track(const std::string& title, const std::string& art = {}, int length = 0)
{
    const int microseconds = length ? length * 1'000'000 : 60'000'000 + (title.empty() ? 0 : title.front());
    Dictionary metadata{{"xesam:title", title}, {"mpris:length", microseconds}};
    if (!art.empty())
        metadata["mpris:artUrl"] = art;
    return {{"Metadata", Value(metadata)}};
}

Dictionary status(const char* text)
{
    return {{"PlaybackStatus", text}};
}

Dictionary with(const char* state, const std::string& title, const std::string& art = {}, int position = 0)
{
    Dictionary out = track(title, art);
    out["PlaybackStatus"] = state;
    if (position)
        out["Position"] = position * 1'000'000;
    return out;
}

struct Room : TestSurroundings {
    FakeBus* bus = nullptr;
    std::unique_ptr<MprisPlayers> players;
    std::shared_ptr<SBApplication> player;
    std::shared_ptr<Diary> diary;

    explicit Room(const std::string& preferred = {})
    {
        auto made = std::make_unique<FakeBus>();
        bus = made.get();
        players = std::make_unique<MprisPlayers>(surroundings, std::move(made), preferred);
        player = players->applicationWithBundleIdentifier("com.apple.iTunes");
        diary = std::make_shared<Diary>(*this, player);
        center.addObserverSelectorNameObject(diary, SELECTOR(Diary, heard), "com.apple.iTunes.playerInfo");
    }
    // One that was there before, so that its track is told at once.
    void appears(const std::string& name, const Dictionary& properties, int process = 0)
    {
        bus->listener->playerAppeared(name, {process, 0, true}, properties);
        turn();
    }
    void changes(const std::string& name, const Dictionary& properties)
    {
        bus->listener->playerChanged(name, properties);
        turn();
    }
    // With the time that a change of track is held back.
    void changesTrack(const std::string& title, const std::string& art = {})
    {
        changes("mpv", with("Playing", title, art));
        fastForwardBy(0.4s);
        turn();
    }
    // Lets notifications and artwork come.
    void turn()
    {
        for (int k = 0; k < 4; ++k) {
            loop.turn();
            artwork.drain();
        }
        loop.turn();
    }
    std::string title() { return player->currentTrack() ? player->currentTrack()->name : "none"; }
    std::shared_ptr<const Bytes> art() { return player->currentTrack()->artworks.at(0)->rawData(); }
    std::vector<std::string> heard() { return std::exchange(diary->lines, {}); }
};

std::string dataOf(int side)
{
    return "data:;base64," + encodeBase64(pngOf(side, side));
}

TEST(MprisPlayers, TellsPresenceStateAndTrackOnceEach)
{
    Room in;
    EXPECT_FALSE(in.player->isRunning());
    EXPECT_EQ(in.player->currentTrack(), nullptr);
    in.appears("mpv", with("Playing", "A"));
    EXPECT_TRUE(in.player->isRunning());
    EXPECT_THAT(in.players->runningApplications(), ElementsAre("com.apple.iTunes"));
    in.changes("mpv", with("Playing", "A")); // a repetition
    in.changes("mpv", status("Paused"));
    in.changes("mpv", {{"Volume", 0.5}, {"PlaybackStatus", Value(Array{})}}); // a state that is none
    in.bus->listener->playerVanished("mpv");
    in.turn();
    EXPECT_FALSE(in.player->isRunning());
    EXPECT_THAT(
        in.heard(), ElementsAre("0.00 Playing A 1:00", "0.00 Paused A 1:00", "0.00 Stopped A 1:00", "0.00 gone"));
}

// a and b are applications, f is a browser; capitals play, small letters pause. The last state is what counts.
TEST(MprisPlayers, ChoosesTheOneToShow)
{
    const std::tuple<std::vector<std::string>, const char*, const char*, const char*> cases[] = {
        {{"a", "b"}, "", "a", "none has played: the first"}, {{"a", "B"}, "", "b", "the one that plays"},
        {{"A", "B"}, "", "b", "of two that play the last that began"},
        {{"A", "B", "A"}, "", "b", "a repetition is no beginning"}, {{"A", "B", "b"}, "", "a", "the other still plays"},
        {{"A", "B", "a", "b"}, "", "b", "all pause: the last that ended"},
        {{"A", "B", "b", "a"}, "", "a", "though it began first"},
        {{"A", "B", "b", "a", "B", "b"}, "", "b", "and played again"},
        {{"a", "B", "b"}, "", "b", "one that has played before one that hasn't"},
        {{"A", "F"}, "", "a", "a browser yields to an application"},
        {{"a", "F"}, "", "firefox.instance_1", "unless that doesn't play"}, {{"A", "B"}, "a", "a", "the user's choice"},
        {{"a", "B"}, "A", "a", "even if it pauses"},
        {{"A", "f"}, "firefox", "firefox.instance_1", "by the first part of its name"},
        {{"A", "B"}, "mpv", "b", "a choice that isn't there"}, {{"A", "B", "-b"}, "", "a", "one that went"}};
    for (const auto& [events, preferred, shown, why] : cases) {
        Room in(preferred);
        for (const std::string& event : events) {
            const char letter = static_cast<char>(event.back() | 0x20);
            const std::string name = letter == 'f' ? "firefox.instance_1" : std::string(1, letter);
            const char* state = event.back() == letter ? "Paused" : "Playing";
            const auto names = in.players->names();
            if (event.front() == '-')
                in.bus->listener->playerVanished(name);
            else if (std::find(names.begin(), names.end(), name) == names.end())
                in.bus->listener->playerAppeared(name, {}, with(state, name));
            else
                in.changes(name, status(state));
            in.fastForwardBy(1s);
        }
        EXPECT_EQ(in.title(), shown) << why;
        EXPECT_EQ(in.players->names().front(), shown) << why;
    }
}

TEST(MprisPlayers, CountsAProgramWithTwoNamesOnce)
{
    Room in;
    in.appears("vlc.instance7", with("Playing", "A"), 7);
    in.appears("vlc", with("Paused", "B"), 7);
    EXPECT_EQ(in.title(), "B") << "the shorter name speaks";
    in.appears("mpv.instance9", with("Playing", "C"), 9);
    EXPECT_EQ(in.title(), "C") << "another process";
}

TEST(MprisPlayers, ExtrapolatesThePosition)
{
    Room in;
    in.appears("mpv", with("Playing", "A", "", 10));
    EXPECT_EQ(in.player->playerPosition(), 10);
    in.clock.time += 5s;
    EXPECT_EQ(in.player->playerPosition(), 15);
    in.changes("mpv", {{"Rate", 2.0}});
    in.clock.time += 5s;
    EXPECT_EQ(in.player->playerPosition(), 25);
    in.changes("mpv", status("Paused"));
    in.clock.time += 5s;
    EXPECT_EQ(in.player->playerPosition(), 25);
    in.bus->listener->playerSeeked("mpv", 40);
    EXPECT_EQ(in.player->playerPosition(), 40);
    in.changes("mpv", status("Playing"));
    in.clock.time += 1000s;
    EXPECT_NEAR(in.player->playerPosition(), 60, 0.001) << "not beyond its end";
    in.changes("mpv", with("Playing", "B"));
    EXPECT_EQ(in.player->playerPosition(), 0) << "a new track";
}

// A track "A" plays. Then come the player's words, each so many seconds after the first; with an empty one it goes.
// The queue for artwork runs from the time behind them.
TEST(MprisPlayers, HoldsAChangeOfTrackUntilItIsWhole)
{
    const TemporaryFolder files;
    const std::string cover = "file://" + files.write("cover.png", textOf(pngOf(4, 4)));
    const auto untimed = [](const char* title) {
        return Dictionary{{"Metadata", Value(Dictionary{{"xesam:title", title}})}};
    };
    using Words = std::vector<std::pair<double, Dictionary>>;
    const std::tuple<const char*, Words, double, std::vector<std::string>> cases[] = {
        {"half told first", {{0, track("B.flac")}, {0.08, track("B")}}, 0, {"0.25 Playing B 1:00"}},
        {"the old length", {{0, track("A", "", 70)}, {0.5, track("B", "", 70)}, {0.8, track("B", "", 90)}}, 0,
            {"0.25 Playing A 1:10", "0.80 Playing B 1:30"}},
        {"and no other", {{0, track("A", "", 70)}, {0.5, track("B", "", 70)}}, 0,
            {"0.25 Playing A 1:10", "0.90 Playing B 1:10"}},
        {"no lengths", {{0, untimed("A")}, {0.5, untimed("B")}}, 0, {"0.25 Playing A ", "0.75 Playing B "}},
        {"the new length first", {{0, track("A", "", 70)}, {0.1, track("B", "", 70)}}, 0, {"0.25 Playing B 1:10"}},
        {"nothing between", {{0, track("")}, {0.1, track("B")}}, 0, {"0.25 Playing B 1:00"}},
        {"two changes", {{0, track("B")}, {0.26, track("C")}}, 0, {"0.25 Playing B 1:00", "0.51 Playing C 1:00"}},
        {"and back", {{0, track("")}, {0.1, track("A")}}, 0, {}},
        {"and on", {{0, track("B")}, {0.1, track("A")}, {0.2, track("C")}}, 0, {"0.25 Playing C 1:00"}},
        {"a correction", {{0, track("A", "", 61)}, {0.1, track("A", "", 62)}}, 0, {"0.25 Playing A 1:02"}},
        {"a pause", {{0, status("Paused")}}, 0, {"0.00 Paused A 1:00"}},
        {"a pause within", {{0, track("B")}, {0.1, status("Paused")}}, 0, {"0.10 Paused A 1:00", "0.25 Paused B 1:00"}},
        {"a stop within", {{0, track("")}, {0.1, status("Stopped")}}, 0, {"0.10 Stopped A 1:00", "0.25 Stopped  1:00"}},
        {"a pause and on", {{0, track("B")}, {0.1, status("Paused")}, {0.2, status("Playing")}}, 0,
            {"0.10 Paused A 1:00", "0.25 Playing B 1:00"}},
        {"it plays on", {{0, status("Paused")}, {0.5, status("Playing")}}, 0,
            {"0.00 Paused A 1:00", "0.55 Playing A 1:00"}},
        {"it plays, and then says what", {{0, status("Paused")}, {0.5, status("Playing")}, {0.54, track("B")}}, 0,
            {"0.00 Paused A 1:00", "0.75 Playing B 1:00"}},
        {"it plays at a hold's end", {{0, status("Paused")}, {0.4, track("B")}, {0.62, status("Playing")}}, 0,
            {"0.00 Paused A 1:00", "0.67 Playing B 1:00"}},
        {"of nothing", {{0, status("Stopped")}, {0, track("")}, {0.5, status("Playing")}, {0.7, track("B")}}, 0,
            {"0.00 Stopped A 1:00", "0.25 Stopped  1:00", "0.75 Playing B 1:00"}},
        {"a cover's end first", {{0, track("A", cover)}, {0.5, track("A")}, {0.51, track("B")}}, 0,
            {"0.25 Playing A 1:00+", "0.75 Playing B 1:00"}},
        {"the next one's cover first", {{0, track("A", cover)}, {0.01, track("B", cover)}}, 0,
            {"0.25 Playing B 1:00+"}},
        {"another cover", {{0, track("A", cover)}, {0.5, track("A", "data:,x")}}, 0, {"0.25 Playing A 1:00+"}},
        {"it goes", {{0, track("B")}, {0.1, {}}}, 0, {"0.10 gone"}},
        {"on and on", {{0, track("B")}, {0.1, track("C")}, {0.2, track("D")}, {0.3, track("E")}, {0.4, track("F")}}, 0,
            {"0.25 Playing D 1:00", "0.55 Playing F 1:00"}},
        {"a cover in time", {{0, track("B", cover)}}, 0.1, {"0.25 Playing B 1:00+"}},
        {"the title before its cover", {{0, track("B")}, {0.04, track("B", cover)}}, 0.1, {"0.25 Playing B 1:00+"}},
        {"a slow disk", {{0, track("B", cover)}}, 0.3, {"0.30 Playing B 1:00+"}},
        {"a very slow one", {{0, track("B", cover)}}, 0.5, {"0.40 Playing B 1:00?", "0.50 Playing B 1:00+"}},
        {"another machine's", {{0, track("B", "http://127.0.0.1:1/c")}}, 1.5, {"0.25 Playing B 1:00?"}},
        {"no picture", {{0, track("B", "data:,x")}}, 0.1, {"0.25 Playing B 1:00"}},
    };
    for (const auto& [why, words, read, told] : cases) {
        Room in;
        in.appears("mpv", with("Playing", "A"));
        in.heard();
        std::size_t next = 0;
        for (int hundredth = 0; hundredth < 140; ++hundredth) {
            in.fastForwardBy(Seconds(hundredth / 100.0) - in.clock.time);
            for (; next < words.size() && words[next].first <= in.clock.time.count() + 1e-9; ++next) {
                if (words[next].second.empty())
                    in.bus->listener->playerVanished("mpv");
                else
                    in.bus->listener->playerChanged("mpv", words[next].second);
            }
            in.loop.turn();
            if (in.clock.time.count() >= read - 1e-9)
                in.artwork.drain();
            in.loop.turn();
        }
        EXPECT_EQ(in.heard(), told) << why;
    }
}

TEST(MprisPlayers, HoldsAPlayerThatBeginsButNoneThatWasThere)
{
    Room in;
    in.bus->listener->playerAppeared("mpv", {}, with("Playing", "A.flac"));
    in.fastForwardBy(0.2s);
    EXPECT_FALSE(in.player->isRunning());
    in.changes("mpv", with("Playing", "A"));
    in.fastForwardBy(0.1s);
    EXPECT_THAT(in.heard(), ElementsAre("0.25 Playing A 1:00"));
    in.bus->listener->playerAppeared("vlc", {}, with("Playing", "B"));
    in.fastForwardBy(0.2s);
    EXPECT_EQ(in.title(), "A");
    in.changes("vlc", status("Paused"));
    in.fastForwardBy(0.1s);
    EXPECT_THAT(in.heard(), IsEmpty()) << "it stopped before it was shown";
    in.changes("vlc", status("Playing"));
    in.fastForwardBy(0.05s);
    EXPECT_EQ(in.title(), "B") << "its track has long been told";
    in.bus->listener->playerVanished("vlc");
    in.turn();
    EXPECT_EQ(in.title(), "A") << "at once";
}

// Of players that were there and don't play; each row's players come in the order of their connections.
TEST(MprisPlayers, TellsFromWhatIsThereWhoPlayedLast)
{
    const Dictionary bare = status("Paused");
    const std::tuple<Dictionary, Dictionary, const char*, const char*, const char*> cases[] = {
        {with("Stopped", "A", "", 9), with("Paused", "B", "", 9), "a", "B", "paused before stopped"},
        {with("Paused", "A"), with("Paused", "B", "", 9), "a", "B", "within its track before at its beginning"},
        {bare, with("Stopped", "B"), "a", "B", "a track before none"},
        {with("Paused", "A", "", 9), with("Paused", "B", "", 9), "a", "A", "nothing tells: the first"},
        {with("Paused", "A", "", 9), with("Paused", "B", "", 9), "firefox", "B", "a browser yields"},
        {with("Playing", "A"), with("Playing", "B"), "a", "B", "two that play: the one that came last"},
    };
    for (const bool inOrder : {true, false}) {
        for (const auto& [first, second, name, shown, why] : cases) {
            Room in;
            if (inOrder)
                in.bus->listener->playerAppeared(name, {0, 5, true}, first);
            in.bus->listener->playerAppeared("b", {0, 10, true}, second);
            if (!inOrder) // its answer was slower
                in.bus->listener->playerAppeared(name, {0, 5, true}, first);
            in.turn();
            EXPECT_EQ(in.title(), shown) << why;
        }
    }
}

TEST(MprisPlayers, BrowsersAndOtherDevicesYieldToApplications)
{
    const std::pair<const char*, bool> cases[]
        = {{"firefox.instance_1_2", true}, {"chromium.instance9", true}, {"plasma-browser-integration", true},
            {"plasma-browser-integration-4711", true}, {"kdeconnect.mpris_000001", true}, {"KDEConnect.x", true},
            {"vlc", false}, {"operatic", false}, {"edge-of-reason", false}, {"brave-", false}};
    for (const auto& [name, yields] : cases) {
        Room in;
        in.appears("spotify", with("Playing", "mine"));
        in.bus->listener->playerAppeared(name, {}, with("Playing", "other"));
        in.fastForwardBy(1s);
        EXPECT_EQ(in.title(), yields ? "mine" : "other") << name;
    }
}

TEST(MprisPlayers, AsksAPlayerThatNeverTellsAnything)
{
    Room in;
    in.bus->isSilentPlayer = true;
    in.bus->listener->playerAppeared("spotifyd", kThere, with("Playing", "A", "", 35)); // of 60 seconds
    in.fastForwardBy(9.9s);
    EXPECT_THAT(in.bus->asked, IsEmpty());
    in.fastForwardBy(0.2s); // 10.1
    EXPECT_THAT(in.bus->asked, ElementsAre("spotifyd"));
    in.fastForwardBy(10s); // 20.1, asked at 20
    EXPECT_EQ(in.bus->asked.size(), 2u);
    in.fastForwardBy(5.3s); // 25.4: the track ended at 25
    EXPECT_EQ(in.bus->asked.size(), 2u);
    in.fastForwardBy(0.2s);
    EXPECT_EQ(in.bus->asked.size(), 3u) << "half a second after the end";
    in.changes("spotifyd", with("Playing", "B"));
    in.fastForwardBy(0.3s);
    EXPECT_EQ(in.title(), "B");
    in.appears("mpv", with("Playing", "other"));
    in.bus->isSilentPlayer = false;
    in.changes("mpv", status("Playing"));
    EXPECT_THAT(in.loop.nextDue(), testing::Eq(std::nullopt)) << "who tells isn't asked";
}

// Players write each cover to the same file.
TEST(MprisPlayers, ANewTrackReadsTheSameAddressAnew)
{
    Room in;
    const std::string path = in.bundleFolder.write("cover.png", textOf(pngOf(1, 1))), address = "file://" + path;
    in.appears("mpv", with("Playing", "A", address));
    EXPECT_EQ(*in.art(), pngOf(1, 1));
    in.bundleFolder.write("cover.png", textOf(pngOf(2, 2)));
    in.changesTrack("B", address);
    EXPECT_EQ(*in.art(), pngOf(2, 2));
    in.changesTrack("A", address);
    EXPECT_EQ(*in.art(), pngOf(1, 1)) << "and the old one is still known";
    const auto picture = in.player->currentTrack()->artworks.at(0);
    EXPECT_EQ(picture->image(), picture->image()) << "decoded once, before it was told";
}

TEST(MprisPlayers, AnAnswerForATrackThatHasGoneIsDropped)
{
    Room in;
    const std::string address = "file://" + in.bundleFolder.write("cover.png", textOf(pngOf(2, 2)));
    in.bus->listener->playerAppeared("mpv", kThere, with("Playing", "A", address));
    in.loop.turn();
    in.changesTrack("B", address); // both reads run now
    in.bundleFolder.write("cover.png", textOf(pngOf(1, 1)));
    in.changesTrack("A", address);
    EXPECT_EQ(*in.art(), pngOf(1, 1)) << "what was read for A too late was B's";
    EXPECT_THAT(in.artwork.blocks, IsEmpty());
}

TEST(MprisPlayers, ASmallerPictureOfTheSameTrackReplacesNothing)
{
    const std::tuple<std::vector<std::string>, int, const char*> cases[] = {{{dataOf(8), dataOf(4)}, 8, "smaller"},
        {{dataOf(4), dataOf(8)}, 8, "larger"}, {{dataOf(8), "data:,broken"}, 8, "none at all"},
        {{"data:,broken", dataOf(8)}, 8, "after none"}, {{dataOf(8), "data:;base64,!"}, 8, "one that can't be read"}};
    for (const auto& [addresses, shown, why] : cases) {
        Room in;
        in.appears("mpv", with("Playing", "A"));
        for (const std::string& address : addresses)
            in.changesTrack("A", address);
        EXPECT_EQ(*in.art(), pngOf(shown, shown)) << why;
        in.changesTrack("B", dataOf(2));
        EXPECT_EQ(*in.art(), pngOf(2, 2)) << why << ": another track";
    }
}

TEST(MprisPlayers, WaitsForAFileThatIsNamedBeforeItIsWhole)
{
    Room in;
    const std::string path = in.bundleFolder.write("late.png", "half of it"), whole{textOf(pngOf(3, 3))};
    in.appears("mpv", with("Playing", "A", path));
    EXPECT_EQ(in.art(), nullptr);
    in.bundleFolder.write("late.png", whole);
    in.fastForwardBy(0.2s);
    in.turn();
    ASSERT_TRUE(in.art());
    EXPECT_EQ(*in.art(), pngOf(3, 3));
}

// Then it is a track without a picture, so that the composition shows what stands for one.
TEST(MprisPlayers, GivesUpOnAFileThatNeverComes)
{
    Room in;
    in.appears("mpv", with("Playing", "A", "file:///none.png"));
    std::size_t reads = 0;
    for (const double pause : {0.14, 0.02, 0.98, 0.04, 1.0}) { // tried at 0, 0.15, 1.15, 2.15 and 3.15
        in.fastForwardBy(Seconds(pause));
        reads += in.artwork.drain();
        in.loop.turn();
    }
    EXPECT_EQ(reads, 3u);
    EXPECT_THAT(in.heard(), ElementsAre("0.00 Playing A 1:00?"));
    in.fastForwardBy(1s);
    in.turn();
    EXPECT_THAT(in.heard(), ElementsAre("3.18 Playing A 1:00"));
    EXPECT_EQ(in.loop.nextDue(), std::nullopt);
    EXPECT_THAT(in.artwork.blocks, IsEmpty());
    in.changesTrack("A", dataOf(4));
    EXPECT_THAT(in.heard(), ElementsAre("3.43 Playing A 1:00+"));
}

// What is under way when the program ends must find nothing that is gone.
TEST(MprisPlayers, MayGoWhileArtworkIsOnItsWay)
{
    Room in;
    in.bus->listener->playerAppeared("mpv", kThere, with("Playing", "A", dataOf(4)));
    in.loop.turn();
    in.bus->listener->playerChanged("mpv", status("Paused"));
    in.players.reset();
    in.turn();
    EXPECT_FALSE(in.player->isRunning());
    EXPECT_EQ(in.player->playerPosition(), 0);
}

TEST(DemoPlayer, PlaysItsTracksInTurn)
{
    TestSurroundings in;
    const auto cover = std::make_shared<const Bytes>(pngOf(1, 1));
    auto demo = std::make_unique<DemoPlayer>(in.surroundings,
        std::vector<DemoTrack>{{"A", "X", "", "", 1999, 225, cover}, {"B", "", "", "", 0, 0, nullptr}});
    const auto player = demo->applicationWithBundleIdentifier("com.apple.iTunes");
    const auto diary = std::make_shared<Diary>(in, player);
    in.center.addObserverSelectorNameObject(diary, SELECTOR(Diary, heard), "com.apple.iTunes.playerInfo");
    EXPECT_TRUE(player->isRunning());
    EXPECT_EQ(player->currentTrack()->artworks.at(0)->rawData(), nullptr) << "not decoded on this thread";
    EXPECT_EQ(in.artwork.drain(), 1u);
    in.loop.turn();
    in.loop.turn();
    EXPECT_EQ(player->currentTrack()->artworks.at(0)->rawData(), cover);
    for (int k = 0; k < 4; ++k) {
        in.fastForwardBy(20s);
        in.loop.turn();
    }
    EXPECT_THAT(diary->lines,
        ElementsAre("0.00 Playing A 3:45+", "20.00 Playing B ", "40.00 Playing A 3:45+", "60.00 Playing B ",
            "80.00 Playing A 3:45+"));
    demo.reset();
    EXPECT_FALSE(player->isRunning());
    in.fastForwardBy(100s);
    EXPECT_FALSE(DemoPlayer(in.surroundings, {}).applicationWithBundleIdentifier("x")->isRunning());
}

} // namespace
} // namespace vitrel
