#include "platform/sound/HeardSound.h"
#include "platform/sound/SoundExamination.h"
#include "platform/sound/SoundListener.h"
#include "sound/SoundServer.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace vitrel {
namespace {

using Kind = SoundServer::Kind;

// A listener and what is heard of it; nobody has asked yet.
struct Listening : RealLoop {
    std::shared_ptr<SoundRing> ring = SoundRing::make();
    std::atomic<bool> playing{false};
    SoundListener listener;
    HeardSound heard{clock, ring, [this](bool wanted) { listener.wanted(wanted); }};
    SoundRing::Reader samples{ring};
    std::shared_ptr<void> held;
    double microphone = 0; // the most that was heard of its tone
    bool expectsTone = false;

    explicit Listening(const std::string& source = {})
        : listener(ring, [this](bool is) { playing = is; }, {Seconds(0.1), Seconds(0.4), source})
    { }
    void begin() { held = heard.listen({}); }
    SoundHeard hear()
    {
        heard.playing(playing);
        const auto now = heard.hear();
        microphone = std::max(microphone, now.spectrum[6]); // 500 Hz
        return now;
    }
    template <class Is> bool hears(Is is, double seconds = 10)
    {
        return turnUntil([&] { return is(hear()); }, seconds);
    }
    // A tone in the middle of a band, and nothing two bands away.
    bool hearsTone(std::size_t band, double seconds = 10)
    {
        return hears([&](const auto& now) { return now.spectrum[band] > 0.9 && now.spectrum[band - 3] == 0; }, seconds);
    }
    bool isSilent()
    {
        return hears([&](const auto& now) { return !playing && now.peak == 0; });
    }
};

double middleOf(std::size_t band)
{
    return 40 * std::pow(400, (double(band) + 0.5) / 16);
}

struct Servers : testing::TestWithParam<Kind> {
    void SetUp() override
    {
        if (!SoundServer::isInstalled(GetParam()))
            GTEST_SKIP() << "this sound server isn't installed";
    }
};

TEST_P(Servers, AreFollowedWhateverTheyDoAndNoMicrophoneIsHeard)
{
    SoundServer server(GetParam());
    Listening here;
    here.begin();
    // While nothing plays nothing comes, and the output sleeps.
    ASSERT_TRUE(server.waitFor("pactl list source-outputs | grep -q 'Corked: yes'"));
    EXPECT_TRUE(server.waitFor("pactl list short sinks | grep out1 | grep -q SUSPENDED"));
    EXPECT_TRUE(here.samples.read().empty());
    EXPECT_EQ(examineSound(Seconds(5)).level, 0);
    {
        // What plays on another output is no reason to wake this one.
        TonePlayer elsewhere(middleOf(9), "--device=out2");
        EXPECT_TRUE(server.waitFor("pactl list short sinks | grep out2 | grep -q RUNNING"));
        EXPECT_TRUE(server.succeeds("pactl list source-outputs | grep -q 'Corked: yes'"));
    }
    {
        TonePlayer player(middleOf(9));
        EXPECT_TRUE(here.hearsTone(9));
        // Somebody moves the stream, or tries to.
        server.succeeds("pactl move-source-output $(pactl list short source-outputs | cut -f1) mic");
        EXPECT_FALSE(here.hears([](const auto& now) { return now.spectrum[6] > 0.5; }, 0.3));
        EXPECT_TRUE(here.hearsTone(9));
        // Another output becomes the default, and players go with it; then it is gone while it is heard.
        EXPECT_TRUE(server.succeeds("pactl set-default-sink out2"));
        EXPECT_TRUE(
            server.waitFor("pactl list short source-outputs | cut -f2 | grep -qx $(pactl list short sources | grep "
                           "out2.monitor | cut -f1)"));
        EXPECT_TRUE(here.hearsTone(9));
        EXPECT_TRUE(server.succeeds("pactl unload-module $(pactl list short modules | grep sink_name=out2 | cut -f1)"));
        EXPECT_TRUE(here.turnUntil([&] { return !here.playing; }, 5));
        EXPECT_TRUE(here.hearsTone(9));
        const auto found = examineSound(Seconds(3));
        EXPECT_EQ(found.problem, "");
        EXPECT_THAT(found.server, testing::HasSubstr(GetParam() == Kind::PipeWire ? "PipeWire" : "pulseaudio"));
        EXPECT_THAT(found.version, testing::HasSubstr("."));
        EXPECT_EQ(found.output + "|" + found.monitor, "out1|out1.monitor");
        EXPECT_NE(found.description, "");
        EXPECT_GT(found.level.value_or(0), 0.3);
    }
    EXPECT_TRUE(here.isSilent());
    {
        // A player that plays silence is as good as none.
        TonePlayer silent(0);
        EXPECT_TRUE(server.waitFor("pactl list source-outputs | grep -q 'Corked: no'"));
        EXPECT_FALSE(here.hears([&](const auto&) { return here.playing.load(); }, 0.3));
        EXPECT_TRUE(here.heard.rests());
    }
    server.kill();
    EXPECT_NE(examineSound(Seconds(3)).problem, "");
    ASSERT_TRUE(server.start());
    {
        TonePlayer player(middleOf(10));
        EXPECT_TRUE(here.hearsTone(10));
    }
    EXPECT_LT(here.microphone, 0.5);
    here.held.reset();
    EXPECT_TRUE(server.waitFor("[ -z \"$(pactl list short source-outputs)\" ]"));
    EXPECT_TRUE(here.isSilent());
}

TEST_P(Servers, AreNotHeardFromAnotherSourceThanTheMonitor)
{
    SoundServer server(GetParam());
    TonePlayer player(middleOf(9)), other(middleOf(9), "--device=out2");
    for (const std::string source : {"mic", "nowhere", "out2.monitor"}) {
        Listening here(source);
        here.begin();
        EXPECT_FALSE(here.hears([&](const auto& now) { return here.playing || now.peak > 0; }, 0.7)) << source;
        EXPECT_TRUE(here.samples.read().empty()) << source;
    }
}

TEST_P(Servers, LeaveNothingBehindAfterAHundredConnections)
{
    SoundServer server(GetParam());
    TonePlayer player(middleOf(9));
    Listening here;
    const auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto pages = [] {
        std::size_t size = 0, resident = 0;
        std::ifstream("/proc/self/statm") >> size >> resident;
        return resident;
    };
    const auto connect = [&](int times) {
        for (int k = 0; k < times; ++k) {
            here.begin();
            // Some until they hear something, some that are given up on the way.
            here.hears([&](const auto&) { return here.playing.load(); }, k % 4 == 0 ? 5 : 0.002 * (k % 7));
            here.held.reset();
            here.turnUntil([&] { return !here.playing; });
        }
    };
    connect(20);
    const auto openBefore = descriptors();
    [[maybe_unused]] const auto pagesBefore = pages();
    connect(100);
    EXPECT_TRUE(here.turnUntil([&] { return descriptors() <= openBefore; }, 3));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(double(pages()) - double(pagesBefore), 256);
#endif
}

INSTANTIATE_TEST_SUITE_P(Sound, Servers, testing::Values(Kind::PulseAudio, Kind::PipeWire),
    [](const auto& info) { return info.param == Kind::PipeWire ? "PipeWire" : "PulseAudio"; });

TEST(SoundListener, TakesManyOutputsAndNamesOfAnyLength)
{
    if (!SoundServer::isInstalled(Kind::PulseAudio))
        GTEST_SKIP() << "PulseAudio isn't installed";
    std::string outputs;
    for (int k = 0; k < 50; ++k) // the server has no descriptors for more
        outputs += " -L 'module-null-sink sink_name=more" + std::to_string(k) + "'";
    outputs
        += " -L 'module-null-sink sink_name=last sink_properties=device.description=" + std::string(10'000, 'x') + "'";
    SoundServer server(Kind::PulseAudio, outputs);
    Listening here;
    here.begin();
    ASSERT_TRUE(server.waitFor("pactl set-default-sink last"));
    TonePlayer player(middleOf(9));
    EXPECT_TRUE(here.hearsTone(9));
    EXPECT_EQ(examineSound(Seconds(3)).description.size(), 10'000U);
}

// A socket where a server would be, which answers each connection with some bytes and then says nothing.
struct StandIn {
    TemporaryFolder folder;
    std::atomic<int> connections{0};
    int socket = -1;
    std::thread thread;

    explicit StandIn(const std::string& answer, bool closes)
    {
        setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
        setenv("HOME", folder.path().c_str(), 1);
        unsetenv("PULSE_SERVER");
        std::filesystem::create_directory(folder / "pulse");
        std::filesystem::permissions(folder / "pulse", std::filesystem::perms::owner_all);
        sockaddr_un address{AF_UNIX, {}};
        (folder / "pulse/native").copy(address.sun_path, sizeof address.sun_path - 1);
        socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
        listen(socket, 8);
        thread = std::thread([this, answer, closes] {
            std::vector<int> kept;
            for (int peer; (peer = accept4(socket, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
                [[maybe_unused]] const auto sent = ::send(peer, answer.data(), answer.size(), MSG_NOSIGNAL);
                closes ? (void)close(peer) : kept.push_back(peer);
                ++connections;
            }
            for (const int peer : kept)
                close(peer);
        });
    }
    ~StandIn()
    {
        shutdown(socket, SHUT_RDWR);
        thread.join();
        close(socket);
    }
};

TEST(SoundListener, WaitsForNoServerAndSaysNothingAboutIt)
{
    using namespace std::string_literals;
    testing::internal::CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    // Nothing; the head of a packet of 100 bytes, and some of it; one larger than there can be; noise; an end.
    const std::string head = "\0\0\0\x64\xFF\xFF\xFF\xFF\0\0\0\0\0\0\0\0\0\0\0\0"s;
    for (const auto& [answer, closes] : {std::pair(""s, false), {head + "L\0\0"s, false},
             {"\xFF" + head.substr(1), false}, {std::string(3000, '\x55'), false}, {head, true}}) {
        StandIn server(answer, closes);
        Listening here;
        here.begin();
        EXPECT_TRUE(here.turnUntil([&] { return server.connections > 0; }));
        EXPECT_FALSE(here.hears([&](const auto& now) { return here.playing || now.peak > 0; }, 0.3));
        EXPECT_LE(server.connections, 4);
        EXPECT_NE(examineSound(Seconds(0.1)).problem, "");
    }
    TemporaryFolder empty;
    setenv("XDG_RUNTIME_DIR", empty.path().c_str(), 1);
    setenv("HOME", empty.path().c_str(), 1);
    Listening nobody;
    nobody.begin();
    EXPECT_FALSE(nobody.hears([&](const auto&) { return nobody.playing.load(); }, 0.3));
    EXPECT_EQ(examineSound(Seconds(1)).problem, "Connection refused");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace vitrel
