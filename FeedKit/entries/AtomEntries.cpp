#include "FeedKit/entries/Gathering.h"

#include "base/Text.h"

namespace FeedKit::gathering {

namespace {

// How a text construct or a content is to be read (RFC 4287, 3.1.1 and 4.1.3.1); absent for what is no text.
std::optional<TextForm> formOf(const std::optional<std::string>& said)
{
    const auto type = vitrel::asciiLowercase(vitrel::trimmed(said ? std::string_view(*said) : std::string_view()));
    if (type == "html" || type == "xhtml" || type.starts_with("text/html") || type.starts_with("application/xhtml+xml"))
        return TextForm::html;
    if (type.empty() || type == "text" || type.starts_with("text/"))
        return TextForm::plain;
    return std::nullopt;
}

template <class Construct> std::optional<EntryText> textOf(const std::shared_ptr<Construct>& construct)
{
    if (!construct)
        return std::nullopt;
    const auto form = formOf(construct->attributes ? construct->attributes->type : std::nullopt);
    return form ? gathering::textOf(firstSaid({&construct->value}), *form) : std::nullopt;
}

bool isRelated(const std::optional<std::string>& said, std::string_view relation)
{
    return sameIgnoringCase(vitrel::trimmed(said ? std::string_view(*said) : std::string_view()), relation);
}

// Of the links to the same in another form the first that is a page, else the first at all.
template <class Link>
std::optional<std::string> pageOf(const std::optional<std::vector<std::shared_ptr<Link>>>& links, Base& base)
{
    std::optional<std::string> found;
    for (std::size_t k = 0; links && k < links->size(); ++k) {
        const auto& said = (*links)[k]->attributes;
        if (!said || !(isRelated(said->rel, "") || isRelated(said->rel, "alternate")))
            continue;
        const bool isPage = !said->type || formOf(said->type) == TextForm::html;
        if (found && !isPage)
            continue;
        if (auto address = addressOf(firstSaid({&said->href}), base)) {
            found = std::move(address);
            if (isPage)
                break;
        }
    }
    return found;
}

template <class Person>
std::vector<EntryPerson> peopleOf(const std::optional<std::vector<std::shared_ptr<Person>>>& people, Base& base)
{
    std::vector<EntryPerson> found;
    for (std::size_t k = 0; people && k < people->size(); ++k) {
        const auto& said = *(*people)[k];
        if (auto person = personOf(&said.name, &said.email, &said.uri, base))
            found.push_back(*std::move(person));
    }
    return found;
}

void gatherFiles(const AtomFeedEntry& from, Base& base, Entry& to)
{
    Files files(base);
    for (std::size_t k = 0; from.links && k < from.links->size(); ++k) {
        const auto& said = (*from.links)[k]->attributes;
        if (said && isRelated(said->rel, "enclosure"))
            files.add(&said->href, &said->type, said->length, std::nullopt);
    }
    if (from.media) {
        files.add(*from.media);
        to.image = thumbnailOf(*from.media, base);
    }
    if (!to.image)
        to.image = files.image();
    if (!to.image)
        to.image = shownImageOf(to, base);
    std::move(files).giveTo(to, std::nullopt);
}

Entry entryOf(const AtomFeedEntry& from, Base& base, const std::vector<EntryPerson>& ofFeed)
{
    Entry entry;
    entry.id = lineOf(firstSaid({&from.id}), TextForm::plain);
    entry.title = lineOf(firstSaid({&from.title}), TextForm::html);
    entry.link = pageOf(from.links, base);
    entry.summary = textOf(from.summary);
    entry.content = textOf(from.content);
    entry.authors = peopleOf(from.authors, base);
    if (entry.authors.empty())
        entry.authors = repeated(ofFeed, base);
    entry.published = from.published;
    entry.updated = from.updated;
    Distinct distinct;
    for (std::size_t k = 0; from.categories && k < from.categories->size(); ++k) {
        using Said = AtomFeedEntryCategory::Attributes;
        const auto& category = (*from.categories)[k];
        auto name = lineOf(
            firstSaid({attributeOf(category, &Said::label), attributeOf(category, &Said::term)}), TextForm::html);
        if (name && distinct.isNew(*name))
            entry.categories.push_back(*std::move(name));
    }
    gatherFiles(from, base, entry);
    return entry;
}

} // namespace

void gatherAtom(const AtomFeed& feed, Base& base, Entries& to)
{
    to.title = lineOf(firstSaid({&feed.title}), TextForm::html);
    to.link = pageOf(feed.links, base);
    if (auto subtitle = textOf(feed.subtitle))
        to.description = std::move(subtitle->text);
    to.image = addressOf(firstSaid({&feed.logo, &feed.icon}), base);
    to.icon = addressOf(firstSaid({&feed.icon}), base);
    to.authors = peopleOf(feed.authors, base);
    to.updated = feed.updated;
    if (!feed.entries)
        return;
    to.entries.reserve(feed.entries->size());
    for (const auto& entry : *feed.entries)
        to.entries.push_back(entryOf(*entry, base, to.authors));
}

} // namespace FeedKit::gathering
