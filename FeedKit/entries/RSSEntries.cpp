#include "FeedKit/basics/Letters.h"
#include "FeedKit/entries/Gathering.h"

#include "FeedKit/basics/Letters.h"
namespace FeedKit::gathering {

namespace {

std::optional<std::string> linkOf(const RSSFeedItem& item, Base& base)
{
    if (const auto link = firstSaid({&item.link}))
        return addressOf(link, base);
    if (item.more) {
        if (auto page = pageOf(item.more->links, base))
            return page;
    }
    const auto guid = firstSaid({in(item.guid, &RSSFeedItemGUID::value)});
    const auto isPermaLink = item.guid && item.guid->attributes ? item.guid->attributes->isPermaLink : std::nullopt;
    if (!guid || isPermaLink == false)
        return std::nullopt;
    // A permalink unless it is said not to be, but many are mere names, and say nothing.
    const URL address(lineOf(guid, TextForm::plain).value_or(std::string()));
    const bool isWeb = sameIgnoringCase(address.scheme(), "http") || sameIgnoringCase(address.scheme(), "https");
    return isWeb || isPermaLink ? addressOf(guid, base) : std::nullopt;
}

std::vector<EntryPerson> authorsOf(const RSSFeedItem& item, const std::vector<EntryPerson>& ofShow, Base& base)
{
    const auto said = firstSaid({&item.author, in(item.dublinCore, &DublinCoreNamespace::dcCreator),
        in(item.iTunes, &ITunesNamespace::iTunesAuthor)});
    if (auto person = personOf(said))
        return {*std::move(person)};
    return repeated(ofShow, base);
}

std::vector<std::string> categoriesOf(const RSSFeedItem& item)
{
    std::vector<std::string> found;
    Distinct distinct;
    const auto add = [&](Source source) {
        if (auto category = lineOf(firstSaid({source}), TextForm::html); category && distinct.isNew(*category))
            found.push_back(*std::move(category));
    };
    if (item.categories) {
        for (const auto& category : *item.categories)
            add(&category->value);
    }
    add(in(item.dublinCore, &DublinCoreNamespace::dcSubject));
    return found;
}

std::optional<std::string> iTunesImageOf(const std::shared_ptr<ITunesNamespace>& iTunes, Base& base)
{
    return iTunes ? addressOf(firstSaid({attributeOf(iTunes->iTunesImage, &ITunesImage::Attributes::href)}), base)
                  : std::nullopt;
}

// Files and pictures, when the entry has its texts.
void gatherFiles(const RSSFeedItem& item, Base& base, Entry& to)
{
    Files files(base);
    const auto add = [&](const RSSFeedItemEnclosure& enclosure) {
        if (const auto& said = enclosure.attributes)
            files.add(&said->url, &said->type, said->length, std::nullopt);
    };
    if (item.enclosure)
        add(*item.enclosure);
    if (item.more && item.more->enclosures) {
        for (const auto& enclosure : *item.more->enclosures)
            add(*enclosure);
    }
    if (item.media) {
        files.add(*item.media);
        to.image = thumbnailOf(*item.media, base);
    }
    if (!to.image)
        to.image = iTunesImageOf(item.iTunes, base);
    if (!to.image)
        to.image = files.image();
    if (!to.image)
        to.image = shownImageOf(to, item.more && item.more->base ? &base : nullptr, base);
    std::move(files).giveTo(to, item.iTunes ? item.iTunes->iTunesDuration : std::nullopt);
}

// Chapters and transcripts of an episode.
void gatherPodcast(const PodcastNamespace& podcast, Base& base, Entry& to)
{
    Files chapters(base);
    if (podcast.chapters && podcast.chapters->attributes)
        chapters.add(
            &podcast.chapters->attributes->url, &podcast.chapters->attributes->type, std::nullopt, std::nullopt);
    if (auto found = std::move(chapters).take(); !found.empty())
        to.chapters = std::move(found.front());
    Files transcripts(base);
    for (std::size_t k = 0; podcast.transcripts && k < podcast.transcripts->size(); ++k) {
        if (const auto& said = (*podcast.transcripts)[k]->attributes)
            transcripts.add(&said->url, &said->type, std::nullopt, std::nullopt);
    }
    to.transcripts = std::move(transcripts).take();
}

Entry entryOf(const RSSFeedItem& item, Base& ofDocument, const std::vector<EntryPerson>& ofShow)
{
    const auto& dc = item.dublinCore;
    const auto& iTunes = item.iTunes;
    Base base = ofDocument.within(in(item.more, &RSSFeedItemMore::base));
    Entry entry;
    entry.id = lineOf(
        firstSaid({in(item.guid, &RSSFeedItemGUID::value), in(item.more, &RSSFeedItemMore::about)}), TextForm::plain);
    entry.title = lineOf(firstSaid({&item.title, in(dc, &DublinCoreNamespace::dcTitle),
                             in(iTunes, &ITunesNamespace::iTunesTitle), titleIn(item.media)}),
        TextForm::html);
    entry.link = linkOf(item, base);
    entry.summary
        = textOf(firstSaid({&item.description, in(dc, &DublinCoreNamespace::dcDescription),
                     in(iTunes, &ITunesNamespace::iTunesSummary), in(iTunes, &ITunesNamespace::iTunesSubtitle)}),
            TextForm::html);
    if (!entry.summary)
        entry.summary = descriptionOf(item.media);
    entry.content = textOf(firstSaid({in(item.content, &ContentNamespace::contentEncoded)}), TextForm::html);
    entry.authors = authorsOf(item, ofShow, base);
    entry.published = item.pubDate ? item.pubDate : dc ? dc->dcDate : std::nullopt;
    entry.categories = categoriesOf(item);
    gatherFiles(item, base, entry);
    if (item.more && item.more->podcast)
        gatherPodcast(*item.more->podcast, base, entry);
    return entry;
}

} // namespace

void gatherRSS(const RSSFeed& feed, Base& ofDocument, Entries& to)
{
    Base base = ofDocument.within(in(feed.more, &RSSFeedMore::base));
    const auto& dc = feed.dublinCore;
    to.title = lineOf(firstSaid({&feed.title, in(dc, &DublinCoreNamespace::dcTitle)}), TextForm::html);
    to.link = addressOf(firstSaid({&feed.link}), base);
    if (!to.link && feed.more)
        to.link = pageOf(feed.more->links, base);
    if (feed.more)
        to.self = selfOf(feed.more->links, base);
    to.description = linesOf(
        firstSaid({&feed.description, in(dc, &DublinCoreNamespace::dcDescription),
            in(feed.iTunes, &ITunesNamespace::iTunesSummary), in(feed.iTunes, &ITunesNamespace::iTunesSubtitle)}),
        TextForm::html);
    to.language = lineOf(firstSaid({&feed.language, in(dc, &DublinCoreNamespace::dcLanguage)}), TextForm::plain);
    to.image = addressOf(firstSaid({in(feed.image, &RSSFeedImage::url)}), base);
    if (!to.image)
        to.image = iTunesImageOf(feed.iTunes, base);
    // A show's author speaks in each episode; the editor of a paper doesn't write each article.
    std::vector<EntryPerson> ofShow;
    if (auto person = personOf(firstSaid({in(feed.iTunes, &ITunesNamespace::iTunesAuthor)})))
        ofShow.push_back(*std::move(person));
    if (auto editor = personOf(firstSaid({&feed.managingEditor, in(dc, &DublinCoreNamespace::dcCreator)})))
        to.authors.push_back(*std::move(editor));
    else
        to.authors = ofShow;
    to.updated = feed.lastBuildDate ? feed.lastBuildDate : feed.pubDate ? feed.pubDate : dc ? dc->dcDate : std::nullopt;
    if (!feed.items)
        return;
    to.entries.reserve(feed.items->size());
    for (const auto& item : *feed.items)
        to.entries.push_back(entryOf(*item, ofDocument, ofShow));
}

} // namespace FeedKit::gathering
