// The real bus library against a bus of our own, with players in this process on connections of their own.
#include "platform/scriptingbridge/SessionBus.h"
#include "platform/messagebus/BusConnection.h"
#include "platform/messagebus/BusProbe.h"
#include "platform/messagebus/BusTypes.h"

#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/Surroundings.h"
#include "platform/scriptingbridge/MprisPlayers.h"
#include "support/BusDaemon.h"
#include "support/RealLoop.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <filesystem>

namespace vitrel {
namespace {

using namespace std::chrono_literals;
using Variants = std::map<std::string, sdbus::Variant>;

constexpr const char* kPlayer = "org.mpris.MediaPlayer2.Player";

// A player on the bus. Answers only while it is pumped.
struct BusPlayer {
    BusPlayer(const std::string& address, const std::string& name, Variants metadata, bool oddStatus = false)
        : metadata_(std::move(metadata))
        , connection_(sdbus::createSessionBusConnectionWithAddress(address))
        , object_(sdbus::createObject(*connection_, sdbus::ObjectPath("/org/mpris/MediaPlayer2")))
    {
        offerProperty(*object_, kPlayer, "Metadata", [this] { return metadata_; });
        const auto status = [&](const auto& getter) { offerProperty(*object_, kPlayer, "PlaybackStatus", getter); };
        oddStatus ? status([] { return std::int32_t(1); }) : status([] { return std::string("Playing"); });
        offerProperty(*object_, kPlayer, "Position", [] { return std::int64_t(5'000'000); });
        offerSignal<std::int64_t>(*object_, kPlayer, "Seeked");
        finish(*object_);
        connection_->requestName(BusName("org.mpris.MediaPlayer2." + name));
    }
    void pump()
    {
        while (processOne(*connection_)) { }
    }
    void say(const Variants& changed, const std::vector<std::string>& invalidated = {})
    {
        auto signal = signalOf(*object_, "org.freedesktop.DBus.Properties", "PropertiesChanged");
        signal << kPlayer << changed << invalidated;
        object_->emitSignal(signal);
    }
    void setMetadata(Variants metadata) { metadata_ = std::move(metadata); }
    void release(const std::string& name) { connection_->releaseName(BusName("org.mpris.MediaPlayer2." + name)); }
    // Comes back when the bus has dealt out all that was said before.
    void flush()
    {
        std::string text;
        sdbus::createProxy(*connection_, BusName("org.freedesktop.DBus"), sdbus::ObjectPath("/org/freedesktop/DBus"))
            ->callMethod("GetId")
            .onInterface("org.freedesktop.DBus")
            .storeResultsTo(text);
    }
    void seek(std::int64_t position) { object_->emitSignal("Seeked").onInterface(kPlayer).withArguments(position); }
    Variants metadata_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
};

Variants titled(const std::string& title)
{
    return {{"xesam:title", sdbus::Variant(title)}, {"mpris:trackid", sdbus::Variant(sdbus::ObjectPath("/1"))},
        {"mpris:length", sdbus::Variant(std::int64_t(100'000'000))},
        {"xesam:artist", sdbus::Variant(std::vector<std::string>{"A", "B"})}};
}

struct SessionBusTest : testing::Test, RealLoop {
    void SetUp() override
    {
        if (!daemon->isThere())
            GTEST_SKIP() << "no dbus-daemon";
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
        surroundings.clock = &clock;
        surroundings.runLoop = &loop;
        surroundings.artworkQueue = &queue;
        surroundings.notificationCenter = &center;
        listen();
    }
    void listen(Seconds pause = 0.05s)
    {
        players.reset();
        auto made = std::make_unique<SessionBus>(loop, pause);
        bus = made.get();
        players = std::make_unique<MprisPlayers>(surroundings, std::move(made));
        player = players->applicationWithBundleIdentifier("com.apple.iTunes");
    }
    void TearDown() override
    {
        players.reset();
        ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    }

    BusPlayer& plays(const std::string& name, Variants metadata, bool oddStatus = false)
    {
        on.push_back(std::make_unique<BusPlayer>(address, name, std::move(metadata), oddStatus));
        return *on.back();
    }
    template <class Condition> bool comesTrue(Condition condition)
    {
        return turnUntil(condition, 20, [&] {
            for (const auto& one : on)
                one->pump();
        });
    }
    bool shows(const std::string& title)
    {
        return comesTrue([&] { return player->currentTrack() && player->currentTrack()->name == title; });
    }

    TemporaryFolder folder;
    std::string address = "unix:path=" + (folder / "bus");
    std::unique_ptr<BusDaemon> daemon = std::make_unique<BusDaemon>(address);
    PoolQueue queue{2};
    NSDistributedNotificationCenter center{loop};
    Surroundings surroundings;
    SessionBus* bus = nullptr;
    std::unique_ptr<MprisPlayers> players;
    std::shared_ptr<SBApplication> player;
    std::vector<std::unique_ptr<BusPlayer>> on;
};

TEST_F(SessionBusTest, APlayerComesChangesAndGoes)
{
    EXPECT_TRUE(bus->isConnected());
    BusPlayer& one = plays("one", titled("First"));
    ASSERT_TRUE(shows("First"));
    EXPECT_EQ(player->playerState(), kPlayerStatePlaying);
    EXPECT_EQ(player->currentTrack()->artist, "A, B");
    EXPECT_EQ(player->currentTrack()->time, "1:40");
    EXPECT_GE(player->playerPosition(), 5);
    one.say({{"Metadata", sdbus::Variant(titled("Second"))}});
    EXPECT_TRUE(shows("Second"));
    one.seek(50'000'000);
    EXPECT_TRUE(comesTrue([&] { return player->playerPosition() >= 50; }));
    one.setMetadata(titled("Third"));
    one.say({}, {"Metadata"});
    EXPECT_TRUE(shows("Third")) << "asked for, as it only said that something changed";
    one.say({{"PlaybackStatus", sdbus::Variant(std::string("Paused"))}});
    EXPECT_TRUE(comesTrue([&] { return player->playerState() == kPlayerStatePaused; }));
    on.clear();
    EXPECT_TRUE(comesTrue([&] { return !player->isRunning(); }));
}

// What the bus tells, for each player by itself.
struct Heard final : PlayerBusListener {
    void playerAppeared(const std::string& name, const PlayerArrival& arrival, const Dictionary&) override
    {
        of[name].push_back(arrival.wasThere ? "there" : "came");
    }
    void playerChanged(const std::string& name, const Dictionary& properties) override
    {
        for (const auto& [key, value] : properties)
            of[name].push_back(key == "Metadata" ? trackMetadata(*value.dictionary()).track->name : description(value));
    }
    void playerSeeked(const std::string& name, double position) override
    {
        of[name].push_back("at " + std::to_string(int(position)));
    }
    void playerVanished(const std::string& name) override { of[name].push_back("gone"); }

    std::map<std::string, std::vector<std::string>> of;
};

// Two that speak in turn: each word counts for who said it, whoever came first and in whatever order they speak.
// Capitals are a's, small letters b's: a pause, a track, a seek, a name given up, a word after that.
TEST_F(SessionBusTest, WhatOnePlayerSaysIsNotTheOthers)
{
    players.reset();
    for (const char* story : {"PptTSsGgxX", "pPTtsSgGXx", "TtPpGsXtpg", "gpxTPSG", "GPXtpsg"}) {
        for (const bool before : {true, false}) {
            Heard heard;
            std::map<char, std::vector<std::string>> expected;
            SessionBus listened(loop);
            const auto start = [&] { listened.start(heard); };
            if (!before)
                start();
            on.clear();
            for (const char* name : {"a", "b"})
                plays(name, titled(name));
            if (before)
                start();
            const auto hears = [&](std::size_t a, std::size_t b) {
                return comesTrue([&] { return heard.of["a"].size() >= a && heard.of["b"].size() >= b; });
            };
            ASSERT_TRUE(hears(1, 1));
            for (const char name : {'a', 'b'})
                expected[name] = {before ? "there" : "came"};
            for (const char word : std::string_view(story)) {
                const char name = word < 'a' ? 'a' : 'b';
                BusPlayer& player = *on[std::size_t(name - 'a')];
                const std::string text = std::string(1, name) + word;
                const char what = word | 0x20;
                if (what == 'p' || what == 'x')
                    player.say({{"PlaybackStatus", sdbus::Variant(text)}});
                else if (what == 't')
                    player.say({{"Metadata", sdbus::Variant(titled(text))}});
                else if (what == 's')
                    player.seek(name * 1'000'000);
                else
                    player.release(std::string(1, name));
                player.flush();
                if (expected[name].back() != "gone" && what != 'x')
                    expected[name].push_back(what == 's' ? "at " + std::to_string(int(name))
                            : what == 'g'                ? "gone"
                                                         : text);
            }
            EXPECT_TRUE(hears(expected['a'].size(), expected['b'].size())) << story;
            EXPECT_EQ(heard.of["a"], expected['a']) << story;
            EXPECT_EQ(heard.of["b"], expected['b']) << story;
        }
    }
}

TEST_F(SessionBusTest, ABusThatSaysNothingHoldsNobodyUp)
{
    sockaddr_un silent{.sun_family = AF_UNIX, .sun_path = {}};
    const std::string path = folder / "silent";
    path.copy(silent.sun_path, sizeof silent.sun_path - 1);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&silent), sizeof silent), 0);
    ASSERT_EQ(::listen(listener, 4), 0);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
    const auto begin = std::chrono::steady_clock::now();
    listen();
    EXPECT_FALSE(BusConnection::answers(BusConnection::Kind::session));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s) << "the library waits for 90";
    plays("one", titled("Song"));
    std::filesystem::remove(path);
    std::filesystem::create_symlink(folder / "bus", path);
    ::close(listener);
    EXPECT_TRUE(shows("Song")) << "a bus that speaks has taken its place";

    const std::pair<const char*, std::optional<std::string>> sockets[]
        = {{"unix:guid=1,path=/a;unix:path=/b", "/a"}, {"unix:abstract=/a%20b%2,guid=1", std::string("\0/a b%2", 7)},
            {"tcp:host=127.0.0.1,port=1", {}}, {"unix:runtime=yes", {}}, {"", {}}};
    for (const auto& [where, socket] : sockets)
        EXPECT_EQ(BusProbe::socketOf(where), socket) << where;
}

TEST_F(SessionBusTest, KnowsWhoNeverTellsAChangeAndAsksIt)
{
    players.reset();
    Heard heard;
    SessionBus listened(loop);
    listened.start(heard);
    BusPlayer& quiet = plays("quiet", titled("first"));
    ASSERT_TRUE(comesTrue([&] { return heard.of["quiet"].size() == 1; }));
    quiet.setMetadata(titled("second"));
    EXPECT_TRUE(listened.isSilent("quiet"));
    listened.ask("quiet");
    EXPECT_TRUE(comesTrue([&] { return heard.of["quiet"].size() == 4; }));
    EXPECT_THAT(heard.of["quiet"], testing::IsSupersetOf({"came", "second", "Playing"}));
    EXPECT_TRUE(listened.isSilent("quiet"));
    quiet.say({{"PlaybackStatus", sdbus::Variant("Paused")}});
    EXPECT_TRUE(comesTrue([&] { return heard.of["quiet"].back() == "Paused"; }));
    EXPECT_FALSE(listened.isSilent("quiet"));
    listened.ask("nobody");
}

TEST_F(SessionBusTest, OneThatWasThereBeforeIsFoundAndTheProxyForOthersIsNot)
{
    players.reset();
    plays("playerctld", titled("Copy"));
    plays("one", titled("Real"));
    listen();
    EXPECT_FALSE(bus->isSettled());
    EXPECT_TRUE(shows("Real"));
    EXPECT_TRUE(bus->isSettled());
    EXPECT_EQ(players->names(), std::vector<std::string>{"one"});
}

TEST_F(SessionBusTest, SurvivesWhateverAPlayerSays)
{
    Variants odd = titled(std::string(1'000'000, 't'));
    odd["xesam:artist"] = sdbus::Variant(std::map<std::string, std::string>{{"a", "b"}});
    odd["xesam:album"] = sdbus::Variant(sdbus::Struct<std::int32_t, std::string>(1, "x"));
    odd["xesam:genre"] = sdbus::Variant(std::vector<std::uint8_t>{1, 2, 3});
    odd["mpris:length"] = sdbus::Variant(sdbus::Variant(std::uint64_t(18446744073709551615u)));
    odd["mpris:artUrl"] = sdbus::Variant("file:///dev/random");
    odd["xesam:trackNumber"] = sdbus::Variant(std::string("7/12"));
    BusPlayer& one = plays("odd", odd, true);
    ASSERT_TRUE(comesTrue([&] { return player->isRunning(); }));
    EXPECT_EQ(player->playerState(), kPlayerStateStopped) << "a state that is a number";
    const auto track = player->currentTrack();
    EXPECT_EQ(track->name.size(), 4096u);
    EXPECT_EQ(track->artist + track->album + track->genre + track->time, "");
    EXPECT_EQ(track->trackNumber, 7);
    one.say({{"Metadata", sdbus::Variant(std::int32_t(5))}, {"Rate", sdbus::Variant(std::string("fast"))}});
    EXPECT_TRUE(comesTrue([&] { return player->currentTrack()->name.empty(); }));
    one.say({{"Metadata", sdbus::Variant(titled("Good again"))}});
    EXPECT_TRUE(shows("Good again"));
}

TEST_F(SessionBusTest, KeepsUpWithAPlayerThatChangesAllTheTime)
{
    BusPlayer& one = plays("fast", titled("0"));
    ASSERT_TRUE(shows("0"));
    for (int k = 1; k <= 1000; ++k)
        one.say({{"Metadata", sdbus::Variant(titled(std::to_string(k)))}});
    EXPECT_TRUE(shows("1000"));
}

// It must cost nothing but its own answer.
TEST_F(SessionBusTest, APlayerThatHangsHoldsNobodyUp)
{
    const BusPlayer hanging(address, "hanging", titled("Never")); // nobody pumps it
    plays("one", titled("Here"));
    const Seconds start = clock.now();
    EXPECT_TRUE(shows("Here"));
    EXPECT_LT(clock.now() - start, 1.5s) << "before the hanging one is given up";
    EXPECT_EQ(players->names(), std::vector<std::string>{"one"});
    EXPECT_TRUE(comesTrue([&] { return bus->isSettled(); })) << "given up";
}

TEST_F(SessionBusTest, ABusThatDiesTakesItsPlayersAndIsFoundAgain)
{
    plays("one", titled("Before"));
    ASSERT_TRUE(shows("Before"));
    on.clear();
    daemon->end();
    EXPECT_TRUE(comesTrue([&] { return !player->isRunning() && !bus->isConnected(); }));
    EXPECT_TRUE(bus->isSettled());
    std::filesystem::remove(folder / "bus");
    daemon = std::make_unique<BusDaemon>(address);
    ASSERT_TRUE(daemon->isThere());
    EXPECT_TRUE(comesTrue([&] { return bus->isConnected(); }));
    plays("two", titled("After"));
    EXPECT_TRUE(shows("After"));
}

TEST_F(SessionBusTest, WithoutABusThereIsNoPlayer)
{
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (folder / "none")).c_str(), 1);
    listen(0.001s);
    EXPECT_FALSE(bus->isConnected());
    EXPECT_TRUE(bus->isSettled());
    players->settle(10s);
    int tries = 0;
    EXPECT_TRUE(comesTrue([&] { return ++tries > 20; }));
    EXPECT_FALSE(player->isRunning());
}

} // namespace
} // namespace vitrel
