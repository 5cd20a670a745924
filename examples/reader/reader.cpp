// A feed reader for the terminal: reader ADDRESS... prints what is new since the last time, the latest first, from
// feeds or from pages that have one. What has been seen is kept in ~/.reader-seen.
#include "FeedKit/FeedKit.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <set>

using namespace FeedKit;

const ReadOptions kOptions{.leniency = Leniency::all(), .extent = Extent::more, .limits = {}, .fetcher = {}};

// The feed at an address; where there is a page, that of its first feed.
Result<Entries, std::string> entriesAt(const URL& address)
{
    if (const auto feed = fetch(address, kOptions))
        return entriesOf(feed->feed, feed->address);
    const auto page = CurlFetcher().contentsOf(address);
    if (!page)
        return page.error();
    const auto feeds = discoverFeeds(textOf(*page), address);
    if (feeds.empty())
        return std::string("no feed, and no page that has one");
    const auto feed = fetch(feeds.front().url, kOptions);
    if (!feed)
        return feed.error().payload();
    return entriesOf(feed->feed, feed->address);
}

int main(int argc, char** argv)
{
    const std::string memory = std::string(std::getenv("HOME") ? std::getenv("HOME") : ".") + "/.reader-seen";
    std::ifstream file(memory);
    std::set<std::string> seen;
    for (std::string id; std::getline(file, id);)
        seen.insert(id);
    std::ofstream now(memory, std::ios::app);
    for (int k = 1; k < argc; ++k) {
        auto entries = entriesAt(URL(argv[k]));
        std::cout << "== " << (entries ? entries->title.value_or(argv[k]) : argv[k] + (": " + entries.error())) << '\n';
        if (!entries)
            continue;
        auto& news = entries->entries;
        std::erase_if(news, [&](const Entry& entry) { return !seen.insert(*entry.id).second; });
        std::stable_sort(news.begin(), news.end(), [](auto& a, auto& b) { return a.date() > b.date(); });
        for (const auto& entry : news) {
            std::cout << "  " << entry.title.value_or("(no title)") << "\n  " << entry.link.value_or("") << '\n';
            now << *entry.id << '\n';
        }
    }
}
