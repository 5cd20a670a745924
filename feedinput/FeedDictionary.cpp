#include "feedinput/FeedDictionary.h"

#include "platform/appkit/NSAttributedString.h"

#include <algorithm>
#include <span>

namespace vitrel {
namespace {

using namespace FeedKit;

// Where one can read about the companion application.
constexpr char kStorePage[] = "https://vitrel.example/muralis";

Value orNothing(const std::optional<std::string>& text)
{
    return text ? Value(*text) : Value();
}

Value orNothing(const std::optional<Date>& date)
{
    return date ? Value(date->timeIntervalSinceReferenceDate()) : Value();
}

// The address of the first link, whatever its relation.
std::optional<Date> ours(const std::optional<FeedKit::Date>& date)
{
    return date ? std::optional(Date{date->secondsSince1970}) : std::nullopt;
}

template <class Link>
std::optional<std::string> firstLink(const std::optional<std::vector<std::shared_ptr<Link>>>& links)
{
    if (!links || links->empty() || !links->front()->attributes)
        return std::nullopt;
    return links->front()->attributes->href;
}

// What an article says, as HTML.
std::string_view markupOf(const RSSFeedItem& item)
{
    return item.description ? std::string_view(*item.description) : std::string_view();
}

std::string_view markupOf(const AtomFeedEntry& entry)
{
    return entry.content && entry.content->value ? std::string_view(*entry.content->value) : std::string_view();
}

std::optional<std::string> linkOf(const RSSFeedItem& item)
{
    return item.link;
}

std::optional<std::string> linkOf(const AtomFeedEntry& entry)
{
    return firstLink(entry.links);
}

std::optional<Date> dateOf(const RSSFeedItem& item)
{
    return ours(item.pubDate);
}

std::optional<Date> dateOf(const AtomFeedEntry& entry)
{
    return ours(entry.updated);
}

std::optional<std::string> plainText(std::string_view markup)
{
    const auto read = NSAttributedString::initWithHTML(markup);
    return read ? std::optional(read->string()) : std::nullopt;
}

template <class Article> using Articles = std::optional<std::vector<std::shared_ptr<Article>>>;

template <class Article>
std::span<const std::shared_ptr<Article>> kept(const Articles<Article>& articles, std::int64_t count)
{
    if (!articles)
        return {};
    const std::size_t all = articles->size();
    return {
        articles->data(), count > 0 && static_cast<std::uint64_t>(count) < all ? static_cast<std::size_t>(count) : all};
}

template <class Article>
Array articlesOf(const Articles<Article>& articles, std::int64_t count, const ArticleTexts& texts)
{
    Array made;
    for (const auto& article : kept(articles, count)) {
        const auto known = texts.find(article.get());
        const auto text = known == texts.end() ? plainText(markupOf(*article)) : known->second;
        made.push_back(Dictionary{
            {"title", orNothing(article->title)},
            {"description", orNothing(text)},
            {"link", orNothing(linkOf(*article))},
            {"systemTime", orNothing(dateOf(*article))},
        });
    }
    return made;
}

template <class Article> void addTexts(ArticleTexts& texts, const Articles<Article>& articles, std::int64_t count)
{
    for (const auto& article : kept(articles, count))
        texts.emplace(article.get(), plainText(markupOf(*article)));
}

} // namespace

Dictionary informationStructure(std::optional<std::string> title, std::optional<std::string> description,
    std::optional<Date> systemTime, std::optional<std::string> link, std::optional<Array> articles)
{
    return {
        {"Title", orNothing(title)},
        {"Description", orNothing(description)},
        {"SystemTime", orNothing(systemTime)},
        {"Link", orNothing(link)},
        {"Articles", articles ? Value(std::move(*articles)) : Value()},
    };
}

Dictionary placeholderFeed(Date now)
{
    return informationStructure("Hello", "Muralis", now, kStorePage, std::nullopt);
}

ArticleTexts articleTexts(const Feed& feed, std::int64_t count)
{
    ArticleTexts texts;
    if (const auto rss = feed.rssFeed())
        addTexts(texts, rss->items, count);
    if (const auto atom = feed.atomFeed())
        addTexts(texts, atom->entries, count);
    return texts;
}

Dictionary feedDictionary(const RSSFeed& feed, std::int64_t count, const ArticleTexts& texts)
{
    return informationStructure(feed.title.value_or(""), feed.description.value_or(""), ours(feed.pubDate), feed.link,
        articlesOf(feed.items, count, texts));
}

Dictionary feedDictionary(const AtomFeed& feed, std::int64_t count, const ArticleTexts& texts)
{
    return informationStructure(feed.title, feed.subtitle ? feed.subtitle->value : std::nullopt, ours(feed.updated),
        firstLink(feed.links), articlesOf(feed.entries, count, texts));
}

} // namespace vitrel
