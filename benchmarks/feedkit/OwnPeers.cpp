#include "benchmarks/feedkit/Peers.h"

#include "FeedKit/FeedKit.h"
#include "FeedKit/LenientReading.h"

#include <expat.h>

namespace bench {

namespace {

using nlohmann::json;

void put(json& to, const char* key, const std::optional<std::string>& text)
{
    if (text)
        to[key] = *text;
}

json itemOf(const FeedKit::Entry& entry)
{
    json item = json::object();
    put(item, "title", entry.title);
    put(item, "link", entry.link);
    if (const auto* body = entry.body())
        put(item, "content", body->markup);
    if (!entry.authors.empty())
        put(item, "author", entry.authors.front().name);
    if (const auto date = entry.date())
        item["published"] = date->timePoint().time_since_epoch().count() / 1000;
    put(item, "image", entry.image);
    if (!entry.transcripts.empty())
        put(item, "transcript", entry.transcripts.front().url);
    return item;
}

// Titles as the format's model has them: a view for people makes one line of plain text of them, which peers don't.
template <class Items> void putTitles(json& found, const Items& items)
{
    if (!items)
        return;
    for (std::size_t k = 0; k < items->size() && k < found.size(); ++k)
        found[k]["title"] = (*items)[k]->title.value_or("");
}

json foundIn(const FeedKit::Feed& feed)
{
    const auto entries = FeedKit::entriesOf(feed);
    json found{{"title", entries.title.value_or("")}, {"items", json::array()}};
    for (const auto& entry : entries.entries)
        found["items"].push_back(itemOf(entry));
    if (const auto rss = feed.rssFeed())
        putTitles(found["items"], rss->items);
    if (const auto atom = feed.atomFeed())
        putTitles(found["items"], atom->entries);
    return found;
}

class FeedKitPeer final : public Peer
{
public:
    FeedKitPeer(std::string name, FeedKit::Leniency leniency, FeedKit::Extent extent, bool entries)
        : name_(std::move(name))
        , leniency_(leniency)
        , extent_(extent)
        , entries_(entries)
    { }
    std::string name() const override { return name_; }
    void parse(const std::string& document) override
    {
        const auto reading = FeedKit::readLeniently(FeedKit::bytesOf(document), leniency_, extent_);
        if (reading && entries_)
            (void)FeedKit::entriesOf(reading->feed).entries.size();
    }
    json found(const std::string& document) override
    {
        const auto reading = FeedKit::read(document, {.leniency = leniency_, .extent = extent_});
        return reading ? foundIn(reading->feed) : json();
    }

private:
    std::string name_;
    FeedKit::Leniency leniency_;
    FeedKit::Extent extent_;
    bool entries_;
};

// Empty handlers: what no parser that stands on it can go below.
class BareExpat final : public Peer
{
public:
    std::string name() const override { return "bare expat"; }
    void parse(const std::string& document) override { (void)run(document); }
    json found(const std::string& document) override { return run(document) ? json{{"items", json::array()}} : json(); }

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

std::vector<Peer*> ownPeers()
{
    using FeedKit::Extent, FeedKit::Leniency;
    static FeedKitPeer strict("FeedKit", Leniency::none(), Extent::model, false);
    static FeedKitPeer lenient("FeedKit, lenient", Leniency::all(), Extent::model, false);
    static FeedKitPeer more("FeedKit, more", Leniency::none(), Extent::more, false);
    static FeedKitPeer entries("FeedKit, entries", Leniency::none(), Extent::model, true);
    static FeedKitPeer whole("FeedKit, all", Leniency::all(), Extent::more, true);
    return {&strict, &lenient, &more, &entries, &whole};
}

Peer* feedKit()
{
    return ownPeers().front();
}

Peer* bareExpat()
{
    static BareExpat peer;
    return &peer;
}

} // namespace bench
