#include "feedinput/FeedEntries.h"

#include "FeedKit/LenientReading.h"
#include "base/Date.h"

#include <utility>

namespace vitrel {
namespace {

// More than a screen saver shows of one article, and little enough for two hundred of them in one text.
constexpr std::size_t kMostCharacters = 20'000;

// Where the text has had so many characters of UTF-8.
std::size_t endOfCharacters(std::string_view text, std::size_t count)
{
    if (text.size() <= count)
        return text.size();
    std::size_t at = 0;
    for (; at < text.size(); ++at) {
        const bool begins = (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80;
        if (begins && count-- == 0)
            break;
    }
    return at;
}

Value textOrNothing(const std::optional<std::string>& text)
{
    return text ? Value(text->substr(0, endOfCharacters(*text, kMostCharacters))) : Value();
}

// Half an address leads somewhere else.
Value addressOrNothing(const std::optional<std::string>& address)
{
    return address && endOfCharacters(*address, kMostCharacters) == address->size() ? Value(*address) : Value();
}

Value dateOrNothing(const std::optional<FeedKit::Date>& date)
{
    return date ? Value(Date{date->secondsSince1970}.timeIntervalSinceReferenceDate()) : Value();
}

// Whoever gives an address alone doesn't want to see it on a wall.
Array namesOf(const std::vector<FeedKit::EntryPerson>& people)
{
    Array names;
    for (const auto& person : people) {
        if (person.name)
            names.push_back(textOrNothing(person.name));
    }
    return names;
}

Dictionary dictionaryOf(const FeedKit::Entry& entry)
{
    const auto* body = entry.body();
    return {
        {"id", textOrNothing(entry.id)},
        {"title", textOrNothing(entry.title)},
        {"link", addressOrNothing(entry.link)},
        {"text", body ? textOrNothing(body->text) : Value()},
        {"image", addressOrNothing(entry.image)},
        {"audio", entry.audio ? addressOrNothing(entry.audio->url) : Value()},
        {"published", dateOrNothing(entry.published)},
        {"updated", dateOrNothing(entry.updated)},
        {"authors", namesOf(entry.authors)},
    };
}

} // namespace

Dictionary entriesDictionary(const FeedKit::Entries& entries)
{
    Array all;
    all.reserve(entries.entries.size());
    for (const auto& entry : entries.entries)
        all.push_back(dictionaryOf(entry));
    return {
        {"title", textOrNothing(entries.title)},
        {"link", addressOrNothing(entries.link)},
        {"description", textOrNothing(entries.description)},
        {"image", addressOrNothing(entries.image)},
        {"updated", dateOrNothing(entries.updated)},
        {"entries", std::move(all)},
    };
}

std::optional<Dictionary> readEntries(
    const FeedKit::FetchedContents& document, const FeedKit::URL& asked, std::stop_token stop)
{
    using namespace FeedKit;
    const auto reading
        = readLeniently(document.bytes, Leniency::all(), Extent::more, document.contentType, std::move(stop));
    if (!reading)
        return std::nullopt;
    const auto entries = entriesOf(reading->feed, document.address.text().empty() ? asked : document.address);
    if (entries.entries.empty() && (reading->brokeOff || !entries.title))
        return std::nullopt;
    return entriesDictionary(entries);
}

Dictionary firstEntries(Dictionary entries, std::int64_t count)
{
    const auto* all = arrayMember(entries, "entries");
    if (all && count > 0 && static_cast<std::uint64_t>(count) < all->size())
        entries["entries"] = Array(all->begin(), all->begin() + count);
    return entries;
}

} // namespace vitrel
