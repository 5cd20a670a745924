#include "FeedKit/entries/Gathering.h"

namespace FeedKit::gathering {

namespace {

template <class Construct> std::optional<EntryText> textOf(const std::shared_ptr<Construct>& construct)
{
    if (!construct)
        return std::nullopt;
    const auto form = formOf(construct->attributes ? construct->attributes->type : std::nullopt);
    return form ? gathering::textOf(firstSaid({&construct->value}), *form) : std::nullopt;
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
    if (!to.image) {
        auto ofText = base.within(in(from.more, &AtomFeedEntryMore::contentBase));
        const bool saysBase = from.more && (from.more->base || from.more->contentBase);
        to.image = shownImageOf(to, saysBase ? &ofText : nullptr, base);
    }
    std::move(files).giveTo(to, std::nullopt);
}

// A title of which nothing more was kept is taken for HTML: most that hold markup or references are.
template <class More> std::optional<std::string> titleOf(Source title, const std::shared_ptr<More>& more)
{
    return lineOf(firstSaid({title}), more ? formOf(more->titleType).value_or(TextForm::plain) : TextForm::html);
}

Entry entryOf(const AtomFeedEntry& from, Base& ofDocument, const std::vector<EntryPerson>& ofFeed)
{
    Base base = ofDocument.within(in(from.more, &AtomFeedEntryMore::base));
    Entry entry;
    entry.id = lineOf(firstSaid({&from.id}), TextForm::plain);
    entry.title = titleOf(&from.title, from.more);
    if (!entry.title)
        entry.title = lineOf(firstSaid({titleIn(from.media)}), TextForm::html);
    entry.link = pageOf(from.links, base);
    entry.summary = textOf(from.summary);
    if (!entry.summary)
        entry.summary = descriptionOf(from.media);
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

void gatherAtom(const AtomFeed& feed, Base& ofDocument, Entries& to)
{
    Base base = ofDocument.within(in(feed.more, &AtomFeedMore::base));
    to.title = titleOf(&feed.title, feed.more);
    to.language = lineOf(firstSaid({in(feed.more, &AtomFeedMore::language)}), TextForm::plain);
    to.link = pageOf(feed.links, base);
    to.self = selfOf(feed.links, base);
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
        to.entries.push_back(entryOf(*entry, ofDocument, to.authors));
}

} // namespace FeedKit::gathering
