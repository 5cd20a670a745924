// The link over real sockets, with companions that behave and some that don't.
#include "companion/LinkOwner.h"
#include "platform/foundation/CurlURLSession.h"
#include "support/LocalServer.h"
#include "support/PeakMemory.h"
#include "support/RealLoop.h"

#include <gtest/gtest.h>

#include <atomic>

namespace vitrel {
namespace {

using namespace std::chrono_literals;
using Connection = LocalServer::Connection;
using Request = LocalServer::Request;

// A link as the program has it, with ticks ten times as fast.
struct RealLink : RealLoop {
    CurlURLSession session;
    PoolQueue queue{2};
    std::shared_ptr<LinkOwner> owner;
    std::shared_ptr<NSTimer> ticks;

    RealLink(int port, URLSessionLimits limits)
        : session(limits)
        , owner(std::make_shared<LinkOwner>(
              MuralisLink::Means{clock, loop, queue, &session, static_cast<std::uint16_t>(port)}))
    {
        ticks = loop.scheduledTimer(Seconds(0.05), true, [this] { owner->link.scheduleQueryMuralisApp(); });
    }
    ~RealLink() { session.invalidateAndCancel(); }
};

void serveTrack(const Request& request, const Connection& to)
{
    const bool isData = request.target.starts_with(kCompanionDataTarget);
    to.send(LocalServer::answer(isData ? R"({"Data": {"Name": "Song"}})" : R"({"ChangeID": "well"})"));
}

// What a server can do, and what an answer can hold, has tests of its own; here the companion does the worst in turn
// and then recovers.
TEST(RealCompanion, ThatHasGoneMadIsPolledOnUntilItRecovers)
{
    const std::string block(1 << 16, 'A');
    const auto base64 = [&](const Connection& to) { // a hundred megabytes
        to.send(LocalServer::head() + "{\"Data\": {\"Track Artwork\": \"");
        for (int k = 0; k < 1600 && to.send(block); ++k) { }
        to.send("\"}}");
    };
    const std::vector<std::function<void(const Connection&)>> tricks = {
        [](const Connection& to) { to.stall(); },
        [&](const Connection& to) {
            to.send(LocalServer::head());
            while (to.send(block)) { }
        },
        [](const Connection& to) { to.send(LocalServer::answer(std::string(100'000, '['))); },
        base64,
        base64,
        [](const Connection& to) { to.send(LocalServer::answer("busy", "", "503 Service Unavailable")); },
        [](const Connection&) {},
    };
    std::atomic<std::size_t> next = 0;
    testing::internal::CaptureStdout();
    {
        const LocalServer server([&](const Request& request, const Connection& to) {
            const std::size_t which = next++;
            if (which < tricks.size())
                tricks[which](to);
            else
                serveTrack(request, to);
        });
        RealLink in(server.port(), {400ms, URLSessionLimits().bytes});
        EXPECT_TRUE(in.turnUntil([&] { return in.owner->packets.size() >= 2; }, 30)) << "stopped at " << next;
        EXPECT_EQ(in.owner->packets.back(), (Dictionary{{"Name", "Song"}}));
    }
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("Error converting data"), printed.npos);
    EXPECT_LT(printed.size(), 4096u) << "no answer belongs on the terminal";
    EXPECT_LT(peakMebibytes(), 256);
}

} // namespace
} // namespace vitrel
