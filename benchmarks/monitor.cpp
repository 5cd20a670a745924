// Changes of a folder: how many the monitor hears at 10,000 a second and as fast as files can be made, and how many
// inotifywait prints of the same. Each side must hear of each file.
#include "support/FolderContentMonitor.h"
#include "support/ShellCommand.h"
#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <thread>

namespace {

using namespace vitrel;
using Steady = std::chrono::steady_clock;

constexpr int kFiles = 50'000;
constexpr int kPerMillisecond = 10;

// With a pause after each millisecond's share, or without.
double make(const std::string& folder, bool paced)
{
    const auto start = Steady::now();
    for (int k = 0; k < kFiles; ++k) {
        ::close(::open((folder + "/" + std::to_string(k)).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        if (paced && k % kPerMillisecond == 0)
            std::this_thread::sleep_until(start + std::chrono::milliseconds(k / kPerMillisecond));
    }
    return std::chrono::duration<double>(Steady::now() - start).count();
}

double processorTime()
{
    rusage usage;
    ::getrusage(RUSAGE_THREAD, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

std::size_t linesOf(const std::string& path)
{
    const std::string text = TemporaryFolder::read(path);
    std::set<std::string> names;
    for (std::size_t at = 0, end; (end = text.find('\n', at)) != text.npos; at = end + 1)
        names.insert(text.substr(at, end - at));
    return names.size();
}

void measure(bool paced)
{
    TemporaryFolder folder, other;
    const std::string out = other / "out", ready = other / "ready",
                      command
        = "exec inotifywait -m -q -r -e create --format %f -o " + shellQuoted(out) + " " + shellQuoted(folder.path());
    const bool hasPeer = std::system("command -v inotifywait >/dev/null 2>&1") == 0;
    FILE* peer = hasPeer
        ? ::popen(("sh -c 'echo $$ >" + ready + "; " + "exec \"$@\"' - " + command.substr(5)).c_str(), "r")
        : nullptr;
    SystemClock clock;
    RunLoop loop(clock);
    std::set<std::string> heard;
    double slowest = 0;
    FolderContentMonitor monitor(
        loop, {folder.path()}, kFSEventStreamEventIdSinceNow,
        [&](const Event& event) {
            if (FSEventFlag(event.eventFlags).contains(FSEventFlag::created))
                heard.insert(event.eventPath);
        },
        "");
    monitor.start();
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // the peer has no sign of being ready
    std::atomic<bool> isDone = false;
    double making = 0;
    std::thread writer([&] {
        making = make(folder.path(), paced);
        isDone = true;
    });
    const double before = processorTime();
    while (!isDone) {
        loop.wait(Seconds(0.01));
        const auto start = Steady::now();
        loop.turn();
        slowest = std::max(slowest, std::chrono::duration<double>(Steady::now() - start).count());
    }
    writer.join();
    const auto end = Steady::now();
    for (int idle = 0; idle < 5 && heard.size() < std::size_t(kFiles); ++idle) {
        loop.wait(Seconds(0.1));
        loop.turn();
    }
    const double late = std::chrono::duration<double>(Steady::now() - end).count();
    std::printf(
        "%-12s %8.0f files/s   monitor %6zu of %d, %.2f s of processor, last %.0f ms after, longest turn %.0f ms\n",
        paced ? "paced" : "full speed", kFiles / making, heard.size(), kFiles, processorTime() - before, late * 1000,
        slowest * 1000);
    if (peer) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        ::kill(std::atoi(TemporaryFolder::read(ready).c_str()), SIGTERM);
        ::pclose(peer);
        std::printf("%-12s %30s %6zu of %d\n", "", "inotifywait", linesOf(out), kFiles);
    }
}

} // namespace

int main()
{
    measure(true);
    measure(false);
    return 0;
}
