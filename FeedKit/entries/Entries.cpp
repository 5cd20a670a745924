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

} // namespace

Entries entriesOf(const Feed& feed, const URL& address)
{
    gathering::Base base(address);
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
