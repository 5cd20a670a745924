#include "FeedKit/entries/Entries.h"

#include "FeedKit/entries/Gathering.h"

#include <algorithm>

namespace FeedKit {

namespace {

// FNV-1a (64 bits), with an end behind each text so that none runs into the next.
class Digest
{
public:
    void add(const std::optional<std::string>& text)
    {
        for (const char c : text.value_or(std::string()))
            add(static_cast<unsigned char>(c));
        add(0xFF); // in no UTF-8
    }
    std::string hexadecimal() const
    {
        std::string out;
        for (int shift = 60; shift >= 0; shift -= 4)
            out += "0123456789abcdef"[value_ >> shift & 15];
        return out;
    }

private:
    void add(unsigned char byte) { value_ = (value_ ^ byte) * 0x100000001B3u; }

    std::uint64_t value_ = 0xCBF29CE484222325u;
};

// What was published doesn't become another entry by an update of its date.
std::string madeIdOf(const Entry& entry)
{
    Digest digest;
    digest.add(entry.title);
    digest.add(entry.body() ? entry.body()->text : std::nullopt);
    digest.add(entry.enclosures.empty() ? std::nullopt : entry.enclosures.front().url);
    return "feedkit:" + digest.hexadecimal();
}

// Where the feed says that it lies, or that its site does, if that is an address by itself; else empty.
URL statedAddressOf(const Feed& feed)
{
    using namespace gathering;
    Base none(URL(""));
    const auto first = [](std::initializer_list<std::optional<std::string>> addresses) {
        for (const auto& address : addresses) {
            const URL url(address.value_or(""));
            if (!url.scheme().empty())
                return url;
        }
        return URL("");
    };
    if (const auto rss = feed.rssFeed())
        return first(
            {rss->more ? selfOf(rss->more->links, none) : std::nullopt, addressOf(firstSaid({&rss->link}), none)});
    if (const auto atom = feed.atomFeed())
        return first({selfOf(atom->links, none), pageOf(atom->links, none)});
    const auto json = feed.jsonFeed();
    return first({addressOf(firstSaid({&json->feedUrl}), none), addressOf(firstSaid({&json->homePageURL}), none)});
}

} // namespace

Entries entriesOf(const Feed& feed, const URL& address)
{
    gathering::Base base(address.text().empty() ? statedAddressOf(feed) : address);
    Entries found;
    found.kind = feed.which();
    if (const auto rss = feed.rssFeed())
        gathering::gatherRSS(*rss, base, found);
    else if (const auto atom = feed.atomFeed())
        gathering::gatherAtom(*atom, base, found);
    else if (const auto json = feed.jsonFeed())
        gathering::gatherJSON(*json, base, found);
    for (auto& entry : found.entries) {
        if (!entry.id)
            entry.id = entry.link ? *entry.link : madeIdOf(entry);
    }
    if (!found.updated) {
        for (const auto& entry : found.entries)
            found.updated = std::max(found.updated, std::max(entry.published, entry.updated));
    }
    return found;
}

} // namespace FeedKit
