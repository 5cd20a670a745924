#pragma once

#include "benchmarks/feedkit/Alone.h"
#include "benchmarks/feedkit/Documents.h"
#include "benchmarks/feedkit/Peers.h"

#include <cstdio>
#include <malloc.h>

namespace bench {

// A line of /proc/self/status, in bytes.
inline double statusLine(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":"))
            return std::stod(line.substr(name.size() + 1)) * 1024;
    }
    return 0;
}

// By how many bytes one parse makes a process of its own grow at most, beside the document, once `ahead` is parsed.
inline double peakOf(Peer& peer, const std::string& document, const std::string& ahead)
{
    return alone([&] {
        if (!ahead.empty())
            peer.parse(ahead);
        // Else what was freed and kept would be used without being seen.
        malloc_trim(0);
        std::ofstream("/proc/self/clear_refs") << 5; // the high-water mark begins anew
        const double before = statusLine("VmRSS");
        peer.parse(document);
        return statusLine("VmHWM") - before;
    });
}

inline void reportMemory()
{
    // What a parser needs once, of its code and tables, is told apart.
    const auto single = rssDocument(1);
    const std::string documents[] = {rssDocument(kItemsOf2MB), rssDocument(12 * kItemsOf2MB)};
    std::printf("peak memory of a parse beside the document: of one item; then as multiples of %.1f MB and %.1f MB\n",
        static_cast<double>(documents[0].size()) / 1e6, static_cast<double>(documents[1].size()) / 1e6);
    for (Peer* peer : allPeers()) {
        std::printf("  %-16s %5.1f MB", peer->name().c_str(), peakOf(*peer, single, {}) / 1e6);
        for (const auto& document : documents)
            std::printf("  %5.2f", peakOf(*peer, document, single) / static_cast<double>(document.size()));
        std::puts("");
    }
    std::fflush(stdout);
}

} // namespace bench
