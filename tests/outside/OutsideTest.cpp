#include "platform/foundation/Files.h"
#include "platform/sound/SoundRingMemory.h"
#include "programs/outside/OutsideLink.h"
#include "programs/outside/OutsideMessage.h"
#include "support/LocalServer.h"
#include "support/RealLoop.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/socket.h>

#include <cmath>
#include <cstring>
#include <future>
#include <thread>

namespace vitrel {

namespace {

using testing::ElementsAre;

// What a listener hears, a line each.
struct Heard final : PlayerBusListener {
    void playerAppeared(const std::string& name, const PlayerArrival& arrival, const Dictionary& properties) override
    {
        lines.push_back(name + " came, " + std::to_string(arrival.process) + " " + std::to_string(arrival.connection)
            + (arrival.wasThere ? " there " : " ") + textOfFact(properties, "Title"));
    }
    void playerChanged(const std::string& name, const Dictionary& properties) override
    {
        lines.push_back(name + " says " + textOfFact(properties, "Title"));
    }
    void playerSeeked(const std::string& name, double position) override
    {
        lines.push_back(name + " at " + std::to_string(int(position)));
    }
    void playerVanished(const std::string& name) override { lines.push_back(name + " went"); }
    std::vector<std::string> lines;
};

struct Outside : testing::Test, RealLoop {
    void start(const OutsidePermissions& permissions)
    {
        link = OutsideLink::start(loop, permissions);
        ASSERT_TRUE(link);
        link->listen();
    }
    std::string feed(const std::string& address)
    {
        const auto contents = link->fetcher()->contentsOfIfModified(FeedKit::URL(address), {});
        return !contents ? "error: " + contents.error()
            : !*contents ? "unmodified"
                         : std::string(textOf((*contents)->bytes));
    }
    std::string cover(const std::string& address)
    {
        const std::atomic<bool> stop{false};
        const auto bytes = link->covers()(address, stop);
        return bytes ? std::string(textOf(*bytes)) : "none";
    }
    std::string companion(const std::string& address)
    {
        std::promise<std::string> answered;
        session = link->urlSession();
        session
            ->dataTaskWithURLCompletionHandler(address,
                [&](std::optional<Bytes> data, std::optional<std::string> error) {
                    answered.set_value(data ? std::string(textOf(*data)) : "error: " + *error);
                })
            ->resume();
        return answered.get_future().get();
    }

    std::unique_ptr<OutsideLink> link;
    std::unique_ptr<URLSession> session;
    TemporaryFolder folder;
};

} // namespace

// Against a real process outside: it gives what a saver needs, and a hijacked one finds nothing else.
TEST_F(Outside, GivesFeedsCoversAndTheCompanionsAnswersAndNothingElse)
{
    LocalServer server([](const LocalServer::Request& request, const LocalServer::Connection& connection) {
        const std::string text = request.method + " " + request.target;
        if (request.target == "/moved")
            connection.send("HTTP/1.1 301 Moved\r\nLocation: /feed\r\nContent-Length: 0\r\n\r\n");
        else
            connection.send("HTTP/1.1 200 OK\r\nContent-Type: a/b; charset=c\r\nContent-Length: "
                + std::to_string(text.size()) + "\r\n\r\n" + text);
    });
    const auto web = "http://localhost:" + std::to_string(server.port());
    const std::string feedFile = "file://" + folder.write("feed.xml", "<rss/>");
    const std::string secret = folder.write("secret", "key"), picture = folder.write("cover", "\x89PNG\r\n\x1A\n...");
    start({.players = false,
        .feedFiles = {feedFile},
        .companionPort = std::uint16_t(server.port()),
        .coverFolder = folder.path() + "/evening"});

    EXPECT_EQ(feed(web + "/feed"), "GET /feed");
    const auto moved = link->fetcher()->contentsOfIfModified(FeedKit::URL(web + "/moved"), {});
    ASSERT_TRUE(moved && *moved);
    EXPECT_EQ((*moved)->address.text(), web + "/feed") << "what is relative in it is relative to that";
    EXPECT_EQ((*moved)->contentType, "a/b; charset=c");
    EXPECT_EQ(feed(feedFile), "<rss/>");
    EXPECT_THAT(feed("file://" + secret), testing::StartsWith("error: "));
    EXPECT_THAT(feed(secret), testing::StartsWith("error: "));
    EXPECT_EQ(cover("file://" + picture), textOf(*readFile(picture, 100)));
    EXPECT_EQ(cover(picture).size(), 11u);
    for (const auto& address :
        {"file://" + secret, secret, feedFile, "file://" + folder.path(), std::string("/dev/zero")})
        EXPECT_EQ(cover(address), "none") << address;
    EXPECT_EQ(cover("data:,text"), "text") << "which nobody is asked for";
    EXPECT_EQ(companion(web + "/state?x"), "GET /state?x");
    // What it keeps are pictures, and no larger ones than covers are.
    const auto shelf = link->coverShelf();
    const std::atomic<bool> stop{false};
    const Bytes small = *readFile(picture, 100), words = *readFile(secret, 100);
    for (const Bytes& bytes : {words, small, Bytes((1u << 20) + 1, std::uint8_t(0x89)), Bytes()})
        shelf->keep(bytes);
    for (int k = 0; k < 200 && shelf->covers(stop).empty(); ++k) // it is written beside
        std::this_thread::yield();
    EXPECT_THAT(shelf->covers(stop), ElementsAre(small)) << "pictures alone, of a cover's size";
    LocalServer neighbour([](const LocalServer::Request&, const LocalServer::Connection& connection) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx");
    });
    EXPECT_THAT(companion("http://localhost:" + std::to_string(neighbour.port()) + "/"),
        testing::StartsWith("error: only the companion"));
    EXPECT_THAT(companion(web + "1/"), testing::StartsWith("error: ")) << "another port, which begins alike";

    // Who has waited is answered when the process is gone, and so is who asks later.
    const auto fetcher = link->fetcher();
    link.reset();
    EXPECT_TRUE(shelf->covers(stop).empty());
    EXPECT_FALSE(fetcher->contentsOfIfModified(FeedKit::URL(web), {}));
}

// A made process outside, in this test's hand.
TEST_F(Outside, APlayersWordsComeAsTheyWereSaidAndGoWithTheProcess)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    auto other = std::make_unique<OutsideSocket>(ends[1]);
    link = OutsideLink::over(loop, ends[0]);
    link->listen();
    const auto bus = link->playerBus();
    Heard heard;
    bus->start(heard);
    EXPECT_EQ(textOfFact(other->receive(kFromWithin)->facts, "kind"), "players");
    EXPECT_FALSE(bus->isSettled());
    other->send({{"kind", "appeared"}, {"name", "mpv"}, {"process", 7}, {"connection", 3}, {"wasThere", true},
        {"silent", true}, {"properties", Dictionary{{"Title", "A"}}}});
    other->send({{"kind", "settled"}});
    EXPECT_TRUE(turnUntil([&] { return bus->isSettled(); }));
    EXPECT_TRUE(bus->isSilent("mpv"));
    bus->ask("mpv");
    EXPECT_EQ(textOfFact(other->receive(kFromWithin)->facts, "name"), "mpv");
    other->send({{"kind", "changed"}, {"name", "mpv"}, {"silent", false}, {"properties", Dictionary{{"Title", "B"}}}});
    other->send({{"kind", "seeked"}, {"name", "mpv"}, {"silent", false}, {"position", 5.0}});
    other->send({{"kind", "appeared"}, {"name", "vlc"}, {"silent", true}});
    other->send({{"kind", "vanished"}, {"name", "vlc"}, {"silent", false}});
    auto waiting = std::async(std::launch::async, [&] { return feed("http://x/"); });
    EXPECT_EQ(textOfFact(other->receive(kFromWithin)->facts, "address"), "http://x/");
    other.reset();
    EXPECT_THAT(waiting.get(), testing::StartsWith("error: "));
    EXPECT_TRUE(turnUntil([&] { return heard.lines.size() == 6; }));
    EXPECT_FALSE(bus->isSilent("mpv"));
    EXPECT_THAT(heard.lines,
        ElementsAre("mpv came, 7 3 there A", "mpv says B", "mpv at 5", "vlc came, 0 0 ", "vlc went", "mpv went"));
    EXPECT_THAT(feed("http://x/"), testing::StartsWith("error: ")) << "at once";
}

// A made process outside that says nonsense and writes garbage: what is heard stays within its bounds.
TEST_F(Outside, SoundIsWhatTheRingHoldsWhileTheOtherSideSaysThatItPlays)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    auto other = std::make_unique<OutsideSocket>(ends[1]);
    const auto ring = SoundRing::make();
    link = OutsideLink::over(loop, ends[0], ring);
    link->listen();
    const auto sound = link->sound();
    int woken = 0;
    auto listening = sound->listen([&] { ++woken; });
    EXPECT_EQ(other->receive(kFromWithin)->facts, (Dictionary{{"kind", "listen"}, {"wanted", true}}));
    for (const Value& nonsense : {Value("loud"), Value(7), Value(), Value(false), Value(true), Value(true)})
        other->send({{"kind", "playing"}, {"playing", nonsense}});
    EXPECT_TRUE(turnUntil([&] { return !sound->rests(); }));
    EXPECT_EQ(woken, 1);
    auto& memory = SoundRingTampering::memoryOf(*ring);
    for (const std::uint64_t written :
        {std::uint64_t(0), std::uint64_t(1) << 63, ~std::uint64_t(0), std::uint64_t(77)}) {
        for (const std::uint32_t rate : {0u, 1u, 44100u, 384000u, ~0u}) {
            memory.rate = rate;
            memory.samples[written % SoundRing::kCapacity] = rate == 1 ? NAN : INFINITY;
            memory.written = written;
            const SoundHeard heard = sound->hear();
            EXPECT_TRUE(heard.peak >= 0 && heard.peak <= 1);
            EXPECT_THAT(heard.spectrum, testing::Each(testing::AllOf(testing::Ge(0), testing::Le(1))));
        }
    }
    std::vector<float> loud(8192, 0.5f);
    ring->write(loud, 44100);
    EXPECT_GT(sound->hear().peak, 0.1);
    listening.reset();
    EXPECT_EQ(other->receive(kFromWithin)->facts, (Dictionary{{"kind", "listen"}, {"wanted", false}}));
    listening = sound->listen({});
    EXPECT_FALSE(sound->rests());
    other.reset();
    EXPECT_TRUE(turnUntil([&] { return sound->rests(); })) << "with the process";
    link.reset();
    EXPECT_EQ(sound->hear().peak, 0);
}

TEST_F(Outside, ListensOnlyWhereItIsPermitted)
{
    start({.players = false});
    EXPECT_FALSE(link->sound()) << "there is no memory to be heard in";
    link.reset(); // ahead of the next fork, which wants one thread
    start({.players = false, .sound = true});
    const auto sound = link->sound();
    const auto listening = sound->listen({});
    link.reset();
    EXPECT_TRUE(sound->rests());
}

TEST(OutsideSocket, EndsAtAnythingThatIsNoMessage)
{
    const std::string text = "no property list";
    const auto lengths = [](std::uint32_t facts, std::uint32_t bytes) {
        std::string out(8, '\0');
        std::memcpy(out.data(), &facts, 4);
        std::memcpy(out.data() + 4, &bytes, 4);
        return out;
    };
    for (const std::string& bytes :
        {lengths(std::uint32_t(kFromWithin.facts) + 1, 0), lengths(10, 1), lengths(0xFFFFFFFF, 0xFFFFFFFF),
            lengths(16, 0) + text, lengths(0, 0), lengths(60, 0) + "cut", std::string("x")}) {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        OutsideSocket socket(ends[0]);
        EXPECT_EQ(::send(ends[1], bytes.data(), bytes.size(), 0), ssize_t(bytes.size()));
        ::close(ends[1]);
        EXPECT_FALSE(socket.receive(kFromWithin));
        EXPECT_FALSE(socket.send({{"kind", "players"}})) << "and nothing is sent any more";
    }
}

} // namespace vitrel
