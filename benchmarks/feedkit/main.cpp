// How fast FeedKit makes models of XML beside other parsers: all get the same documents, from memory, on one thread, by
// turns in one run. A peer whose titles differ from ours on a document is timed all the same, and said to differ.
#include "benchmarks/feedkit/Alone.h"
#include "benchmarks/feedkit/Documents.h"
#include "benchmarks/feedkit/Memory.h"
#include "benchmarks/feedkit/Peers.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <time.h>

namespace bench {
namespace {

constexpr int kRounds = 9;
constexpr std::size_t kBytesInARound = 12'000'000;

// Of this thread's processor time: others that run meanwhile don't count.
double now()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double secondsFor(Peer& peer, const DocumentSet& set, std::size_t passes)
{
    const double start = now();
    for (std::size_t pass = 0; pass < passes; ++pass) {
        for (const auto& document : set.documents)
            peer.parse(document);
    }
    return (now() - start) / static_cast<double>(passes);
}

double secondsAlone(Peer& peer, const DocumentSet& set, std::size_t passes)
{
    return alone([&] {
        secondsFor(peer, set, 1);
        return secondsFor(peer, set, passes);
    });
}

// For each document an array of titles, or null.
nlohmann::json titlesAlone(Peer& peer, const DocumentSet& set)
{
    return alone([&] {
        auto all = nlohmann::json::array();
        for (const auto& document : set.documents) {
            const auto found = peer.found(document);
            auto titles = found.is_null() ? nlohmann::json() : nlohmann::json::array();
            for (const auto& item : found.is_null() ? titles : found["items"])
                titles.push_back(item.value("title", ""));
            all.push_back(titles);
        }
        return all;
    });
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void report(const std::string& name, const DocumentSet& set, double seconds, double expat, std::size_t same)
{
    std::printf("  %-16s %8.1f MB/s   %6.2f x bare expat   same titles in %zu of %zu\n", name.c_str(),
        static_cast<double>(set.bytes()) / seconds / 1e6, seconds / expat, same, set.documents.size());
}

// A peer of another language, called as feedparser_peer.py says: its start isn't in its times.
void runOutside(
    const char* name, std::string command, const DocumentSet& set, double expat, const nlohmann::json& reference)
{
    command += " time 5";
    for (const auto& file : set.files)
        command += " '" + file + "'";
    FILE* pipe = popen(command.append(" 2>/dev/null").c_str(), "r");
    if (!pipe)
        return;
    std::string output;
    char buffer[4096];
    while (const auto count = std::fread(buffer, 1, sizeof buffer, pipe))
        output.append(buffer, count);
    if (pclose(pipe) != 0) {
        std::printf("  %-16s not installed\n", name);
        return;
    }
    std::stringstream lines(output);
    std::vector<double> seconds(5);
    for (auto& second : seconds)
        lines >> second;
    const auto titles = nlohmann::json::parse(lines, nullptr, false);
    std::size_t same = 0;
    for (std::size_t k = 0; k < reference.size() && k < titles.size(); ++k)
        same += !reference[k].is_null() && titles[k] == reference[k];
    report(name, set, median(seconds), expat, same);
}

void runSet(const DocumentSet& set, const std::string& gofeed)
{
    std::printf(
        "%s: %zu documents, %.0f kB\n", set.name.c_str(), set.documents.size(), static_cast<double>(set.bytes()) / 1e3);
    const auto peers = allPeers();
    const auto reference = titlesAlone(*feedKit(), set);
    std::map<Peer*, std::vector<double>> seconds;
    const auto passes = std::max<std::size_t>(1, kBytesInARound / set.bytes());
    for (int round = 0; round < kRounds; ++round) {
        for (Peer* peer : peers)
            seconds[peer].push_back(secondsAlone(*peer, set, passes));
    }
    const double expat = median(seconds[bareExpat()]);
    for (Peer* peer : peers) {
        const auto titles = titlesAlone(*peer, set);
        std::size_t same = 0;
        for (std::size_t k = 0; k < set.documents.size(); ++k)
            same += peer == bareExpat() ? !titles[k].is_null() : titles[k] == reference[k];
        report(peer->name(), set, median(seconds[peer]), expat, same);
    }
    runOutside("feedparser", "/usr/bin/python3 '" BENCH_SOURCE "/feedparser_peer.py'", set, expat, reference);
    runOutside("gofeed", "'" + gofeed + "'", set, expat, reference);
    std::fflush(stdout);
}

// Its program in `folder`; without a compiler or the library there is none.
std::string gofeedIn(const std::filesystem::path& folder)
{
    const auto program = folder / "gofeed_peer";
    const auto command = "GO111MODULE=off GOPATH=/usr/share/gocode go build -o '" + program.string()
        + "' '" BENCH_SOURCE "/gofeed_peer.go' 2>/dev/null";
    if (std::system(command.c_str()) != 0)
        std::printf("no gofeed: its library or its compiler isn't there\n");
    return program;
}

// For peers/compare.py: what a peer tells of a file, in one line.
int printFound(const std::string& name, const std::string& file)
{
    for (Peer* peer : allPeers()) {
        if (peer->name() != name)
            continue;
        const auto found = peer->found(contentsOf(file));
        std::puts(found.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
        return 0;
    }
    std::fprintf(stderr, "no such peer in this build: %s\n", name.c_str());
    return 2;
}

int measure()
{
    const auto folder = std::filesystem::temp_directory_path() / "bench_feedkit";
    std::filesystem::create_directories(folder);
    reportMemory();
    const auto gofeed = gofeedIn(folder);
    const auto fits = [](const std::string& document) {
        return !titlesAlone(*bareExpat(), {{}, {document}, {}})[0].is_null();
    };
    for (const auto& set : documentSets(VITREL_SAMPLES, folder, fits))
        runSet(set, gofeed);
    std::filesystem::remove_all(folder);
    return 0;
}

} // namespace
} // namespace bench

// bench_feedkit [memory | read PEER FILE]
int main(int argc, char** argv)
{
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "read" && argc == 4)
        return bench::printFound(argv[2], argv[3]);
    if (what == "memory") {
        bench::reportMemory();
        return 0;
    }
    return bench::measure();
}
