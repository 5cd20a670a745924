// What the companion's route costs while nothing changes: processor time at two requests a second, and memory over many
// polls. The companion is a thread of this program, so its share is measured apart and taken off.
#include "companion/MuralisLink.h"
#include "platform/foundation/CurlURLSession.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "support/KeepAliveServer.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

namespace {

using namespace vitrel;

double processorSeconds()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

long residentKiB()
{
    long size = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

struct Owner final : MuralisLinkOwner, std::enable_shared_from_this<Owner> {
    explicit Owner(const MuralisLink::Means& means)
        : link(means, *this)
    { }
    std::shared_ptr<const void> keptAlive() override { return shared_from_this(); }
    std::string displayNumber() override { return "4294967295"; }
    bool isCompanionUsed() override { return true; }
    void takeTrackPacket(const Dictionary&) override { }
    MuralisLink link;
};

void poll(RunLoop& loop, MuralisLink& link)
{
    link.scheduleQueryMuralisApp();
    do {
        loop.wait();
        loop.turn();
    } while (link.isDownloadInProgress() || link.isDownloadScheduled());
}

} // namespace

// Seconds to idle for, and how many polls to make at full speed.
int main(int count, char** words)
{
    const double seconds = count > 1 ? std::atof(words[1]) : 20;
    const int polls = count > 2 ? std::atoi(words[2]) : 100'000;
    const KeepAliveServer server(R"({"ChangeID": "the same"})");
    SystemClock clock;
    RunLoop loop(clock);
    CurlURLSession session;
    PoolQueue queue(2);
    const auto owner = std::make_shared<Owner>(
        MuralisLink::Means{clock, loop, queue, &session, static_cast<std::uint16_t>(server.port())});
    owner->link.setLastStateID("the same");

    for (int k = 0; k < 1000; ++k)
        poll(loop, owner->link);
    const long before = residentKiB();
    const double start = processorSeconds();
    for (int k = 0; k < polls; ++k)
        poll(loop, owner->link);
    std::printf("%d polls: %.1f us of processor each, companion included; resident %ld KiB before, %ld KiB after\n",
        polls, (processorSeconds() - start) / polls * 1e6, before, residentKiB());

    const double withoutPolls = [&] {
        const double from = processorSeconds();
        loop.wait(Seconds(seconds / 4));
        return (processorSeconds() - from) * 4;
    }();
    const auto ticks = loop.scheduledTimer(Seconds(0.5), true, [&] { owner->link.scheduleQueryMuralisApp(); });
    const double idle = processorSeconds();
    const int requests = server.requests();
    for (const Seconds end = clock.now() + Seconds(seconds); clock.now() < end;) {
        loop.wait(end - clock.now());
        loop.turn();
    }
    std::printf("idle: %.1f requests a second, %.3f %% of a core\n", (server.requests() - requests) / seconds,
        (processorSeconds() - idle - withoutPolls) / seconds * 100);
    std::printf("connections made: %d\n", server.connections());
    return 0;
}
