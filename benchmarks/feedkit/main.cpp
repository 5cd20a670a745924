// How fast FeedKit makes models of XML beside other parsers: all get the same documents, from memory, on one thread, by
// turns in one run. A peer whose titles differ from ours on a document is timed all the same, and said to differ.
#include "benchmarks/feedkit/Documents.h"
#include "benchmarks/feedkit/Peers.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

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

// What `work` gives, from a process of its own: a heap that others have used makes every allocation slower.
template <class Work> nlohmann::json alone(Work work)
{
    int ends[2];
    if (pipe(ends) != 0)
        std::exit(1);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        const auto text = nlohmann::json(work()).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        _exit(write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
    }
    close(ends[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(ends[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(count));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return nlohmann::json::parse(text);
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
            const auto titles = peer.titlesOf(document);
            all.push_back(titles ? nlohmann::json(*titles) : nlohmann::json());
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

// Another process: the interpreter's start isn't in its times.
void runFeedparser(const DocumentSet& set, double expat, const nlohmann::json& reference)
{
    std::string command = "/usr/bin/python3 '" BENCH_SOURCE "/feedparser_peer.py' 3";
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
        std::printf("  feedparser       not installed\n");
        return;
    }
    std::stringstream lines(output);
    std::vector<double> seconds(3);
    for (auto& second : seconds)
        lines >> second;
    const auto titles = nlohmann::json::parse(lines, nullptr, false);
    std::size_t same = 0;
    for (std::size_t k = 0; k < reference.size() && k < titles.size(); ++k)
        same += !reference[k].is_null() && titles[k] == reference[k];
    report("feedparser", set, median(seconds), expat, same);
}

void runSet(const DocumentSet& set)
{
    std::printf(
        "%s: %zu documents, %.0f kB\n", set.name.c_str(), set.documents.size(), static_cast<double>(set.bytes()) / 1e3);
    std::vector<Peer*> peers;
    for (Peer* peer : {bareExpat(), feedKit(), libmrss(), kdeSyndication()}) {
        if (peer)
            peers.push_back(peer);
    }
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
    runFeedparser(set, expat, reference);
}

} // namespace
} // namespace bench

int main()
{
    const auto folder = std::filesystem::temp_directory_path() / "bench_feedkit";
    std::filesystem::create_directories(folder);
    const auto fits = [](const std::string& document) {
        return !bench::titlesAlone(*bench::bareExpat(), {{}, {document}, {}})[0].is_null();
    };
    for (const auto& set : bench::documentSets(VITREL_SAMPLES, folder, fits))
        bench::runSet(set);
    std::filesystem::remove_all(folder);
}
