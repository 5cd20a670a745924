#include "benchmarks/feedkit/Peers.h"

#include "FeedKit/xml/XMLFeedParser.h"

#include <expat.h>

namespace bench {

namespace {

class FeedKitPeer final : public Peer
{
public:
    std::string name() const override { return "FeedKit"; }
    void parse(const std::string& document) override
    {
        FeedKit::XMLFeedParser parser(FeedKit::bytesOf(document));
        (void)parser.parse().has_value();
    }
    Titles titlesOf(const std::string& document) override
    {
        FeedKit::XMLFeedParser parser(FeedKit::bytesOf(document));
        const auto feed = parser.parse();
        if (!feed)
            return std::nullopt;
        std::vector<std::string> titles;
        if (const auto rss = feed->rssFeed(); rss && rss->items) {
            for (const auto& item : *rss->items)
                titles.push_back(item->title.value_or(""));
        }
        if (const auto atom = feed->atomFeed(); atom && atom->entries) {
            for (const auto& entry : *atom->entries)
                titles.push_back(entry->title.value_or(""));
        }
        return titles;
    }
};

// Empty handlers: what no parser that stands on it can go below.
class BareExpat final : public Peer
{
public:
    std::string name() const override { return "bare expat"; }
    void parse(const std::string& document) override { (void)run(document); }
    Titles titlesOf(const std::string& document) override
    {
        return run(document) ? Titles(std::vector<std::string>()) : std::nullopt;
    }

private:
    static bool run(const std::string& document)
    {
        const XML_Parser parser = XML_ParserCreate(nullptr);
        XML_SetElementHandler(
            parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
        XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
        const bool good = XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1) == XML_STATUS_OK;
        XML_ParserFree(parser);
        return good;
    }
};

} // namespace

Peer* feedKit()
{
    static FeedKitPeer peer;
    return &peer;
}

Peer* bareExpat()
{
    static BareExpat peer;
    return &peer;
}

} // namespace bench
