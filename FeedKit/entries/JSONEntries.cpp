#include "FeedKit/entries/Gathering.h"

namespace FeedKit::gathering {

namespace {

// Version 1.1 has a list in the place of the one author.
std::vector<EntryPerson> peopleOf(
    const std::optional<JSONFeedAuthor>& author, const std::shared_ptr<JSONFeedMore>& more, Base& base)
{
    std::vector<EntryPerson> people;
    const auto add = [&](const JSONFeedAuthor& said) {
        if (auto person = personOf(&said.name, nullptr, &said.url, base))
            people.push_back(*std::move(person));
    };
    if (more && more->authors)
        std::for_each(more->authors->begin(), more->authors->end(), add);
    if (people.empty() && author)
        add(*author);
    return people;
}

std::optional<EntryText> contentOf(const JSONFeedItem& item)
{
    auto content = textOf(firstSaid({&item.contentHtml}), TextForm::html);
    if (!content)
        return textOf(firstSaid({&item.contentText}), TextForm::plain);
    if (auto text = linesOf(firstSaid({&item.contentText}), TextForm::plain))
        content->text = std::move(text);
    return content;
}

Entry entryOf(const JSONFeedItem& item, Base& base, const std::vector<EntryPerson>& ofFeed)
{
    Entry entry;
    entry.id = lineOf(firstSaid({&item.id}), TextForm::plain);
    entry.title = lineOf(firstSaid({&item.title}), TextForm::plain);
    entry.link = addressOf(firstSaid({&item.url, &item.externalUrl}), base);
    entry.summary = textOf(firstSaid({&item.summary}), TextForm::plain);
    entry.content = contentOf(item);
    entry.authors = peopleOf(item.author, item.more, base);
    if (entry.authors.empty())
        entry.authors = repeated(ofFeed, base);
    entry.published = item.datePublished;
    entry.updated = item.dateModified;
    Distinct distinct;
    for (std::size_t k = 0; item.tags && k < item.tags->size(); ++k) {
        auto tag = lineOf(&(*item.tags)[k], TextForm::plain);
        if (tag && distinct.isNew(*tag))
            entry.categories.push_back(*std::move(tag));
    }
    Files files(base);
    for (std::size_t k = 0; item.attachments && k < item.attachments->size(); ++k) {
        const auto& said = (*item.attachments)[k];
        files.add(&said.url, &said.mimeType, said.sizeInBytes, said.durationInSeconds);
    }
    entry.image = addressOf(firstSaid({&item.image, &item.bannerImage}), base);
    if (!entry.image)
        entry.image = files.image();
    if (!entry.image)
        entry.image = shownImageOf(entry, nullptr, base);
    std::move(files).giveTo(entry, std::nullopt);
    return entry;
}

} // namespace

void gatherJSON(const JSONFeed& feed, Base& base, Entries& to)
{
    to.title = lineOf(firstSaid({&feed.title}), TextForm::plain);
    to.link = addressOf(firstSaid({&feed.homePageURL}), base);
    to.self = addressOf(firstSaid({&feed.feedUrl}), base);
    to.description = linesOf(firstSaid({&feed.description}), TextForm::plain);
    to.language = lineOf(firstSaid({in(feed.more, &JSONFeedMore::language)}), TextForm::plain);
    to.image = addressOf(firstSaid({&feed.icon, &feed.favicon}), base);
    to.icon = addressOf(firstSaid({&feed.favicon}), base);
    to.authors = peopleOf(feed.author, feed.more, base);
    if (!feed.items)
        return;
    to.entries.reserve(feed.items->size());
    for (const auto& item : *feed.items)
        to.entries.push_back(entryOf(item, base, to.authors));
}

} // namespace FeedKit::gathering
