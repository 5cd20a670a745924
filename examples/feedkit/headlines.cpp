#include "FeedKit/FeedKit.h"

#include <iostream>

using namespace FeedKit;

Result<Reading, ParserError> readFrom(const std::string& source)
{
    if (source == "-")
        return read(std::cin);
    if (source.find("://") != source.npos)
        return fetch(URL(source)).transform([](const FetchedReading& fetched) -> Reading { return fetched; });
    return readFile(source);
}

void show(const Entries& entries)
{
    std::cout << entries.title.value_or("(no title)") << '\n';
    for (const auto& entry : entries.entries) {
        std::cout << "- " << entry.title.value_or("(no title)") << '\n';
        if (const auto date = entry.date())
            std::cout << "  " << date->timePoint().time_since_epoch().count() / 1000 << " seconds after 1970\n";
    }
}

ReadOptions forTheWorld()
{
    return {.leniency = Leniency::all(), .extent = Extent::more};
}

bool showLeniently(std::string_view document, const std::string& address)
{
    const auto reading = read(document, forTheWorld());
    if (!reading) {
        std::cerr << reading.error().errorDescription() << '\n';
        return false;
    }
    for (const auto& one : reading->forgiven)
        std::cerr << "forgiven: " << rawValue(one.what) << ", " << one.first << '\n';
    show(entriesOf(reading->feed, URL(address)));
    return true;
}

void printEpisodes(const RSSFeed& feed)
{
    if (!feed.items)
        return;
    for (const auto& item : *feed.items) {
        if (item->enclosure && item->enclosure->attributes)
            std::cout << item->enclosure->attributes->url.value_or("") << '\n';
    }
}

void showLater(const DispatchQueue& queue, const std::shared_ptr<FeedParser>& parser)
{
    parser->parseAsync(queue, [parser](Result<Feed, ParserError> result) {
        if (result)
            show(entriesOf(*result));
    });
}

int main(int argc, char** argv)
{
    if (argc < 2)
        return showLeniently("<rss><channel><title>R&D, from memory</title></channel></rss>", "") ? 0 : 1;
    const auto reading = readFrom(argv[1]);
    if (!reading) {
        std::cerr << reading.error().payload() << '\n';
        return 1;
    }
    show(entriesOf(reading->feed));
    if (const auto rss = reading->feed.rssFeed())
        printEpisodes(*rss);
}
