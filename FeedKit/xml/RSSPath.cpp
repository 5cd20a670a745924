#include "FeedKit/xml/FeedPaths.h"
#include "FeedKit/xml/NamespaceRows.h"

namespace FeedKit {

namespace {

using F = RSSFeed;
using I = RSSFeedItem;
using T = ITunesNamespace;

constexpr PathRow<RSSFeed> kChannelRows[] = {
    {"/rss", nothing, nothing},
    {"/rss/channel", nothing, nothing},
    {"/rss/channel/title", nothing, append<&F::title>},
    {"/rss/channel/link", nothing, append<&F::link>},
    {"/rss/channel/description", nothing, append<&F::description>},
    {"/rss/channel/language", nothing, append<&F::language>},
    {"/rss/channel/copyright", nothing, append<&F::copyright>},
    {"/rss/channel/managingEditor", nothing, append<&F::managingEditor>},
    {"/rss/channel/webMaster", nothing, append<&F::webMaster>},
    {"/rss/channel/pubDate", nothing, date<&F::pubDate>},
    {"/rss/channel/lastBuildDate", nothing, date<&F::lastBuildDate>},
    {"/rss/channel/category", add<&F::categories>, append<&F::categories, &RSSFeedCategory::value>},
    {"/rss/channel/generator", nothing, append<&F::generator>},
    {"/rss/channel/docs", nothing, append<&F::docs>},
    {"/rss/channel/cloud", firstWins<&F::cloud>, nothing},
    {"/rss/channel/rating", nothing, append<&F::rating>},
    {"/rss/channel/ttl", nothing, integer<&F::ttl>},
    {"/rss/channel/image", firstWins<&F::image>, nothing},
    {"/rss/channel/image/url", nothing, append<&F::image, &RSSFeedImage::url>},
    {"/rss/channel/image/title", nothing, append<&F::image, &RSSFeedImage::title>},
    {"/rss/channel/image/link", nothing, append<&F::image, &RSSFeedImage::link>},
    {"/rss/channel/image/width", nothing, integer<&F::image, &RSSFeedImage::width>},
    {"/rss/channel/image/height", nothing, integer<&F::image, &RSSFeedImage::height>},
    {"/rss/channel/image/description", nothing, append<&F::image, &RSSFeedImage::description>},
    {"/rss/channel/textInput", firstWins<&F::textInput>, nothing},
    {"/rss/channel/textInput/title", nothing, append<&F::textInput, &RSSFeedTextInput::title>},
    {"/rss/channel/textInput/description", nothing, append<&F::textInput, &RSSFeedTextInput::description>},
    {"/rss/channel/textInput/name", nothing, append<&F::textInput, &RSSFeedTextInput::name>},
    {"/rss/channel/textInput/link", nothing, append<&F::textInput, &RSSFeedTextInput::link>},
    {"/rss/channel/skipHours", newArray<&F::skipHours>, nothing},
    {"/rss/channel/skipHours/hour", nothing, hour<&F::skipHours>},
    {"/rss/channel/skipDays", newArray<&F::skipDays>, nothing},
    {"/rss/channel/skipDays/day", nothing, day<&F::skipDays>},
};

constexpr PathRow<RSSFeed> kItemRows[] = {
    {"", add<&F::items>, nothing},
    {"/title", nothing, append<&F::items, &I::title>},
    {"/link", nothing, append<&F::items, &I::link>},
    {"/description", nothing, append<&F::items, &I::description>},
    {"/author", nothing, append<&F::items, &I::author>},
    {"/category", add<&F::items, &I::categories>, append<&F::items, &I::categories, &RSSFeedItemCategory::value>},
    {"/comments", nothing, append<&F::items, &I::comments>},
    {"/enclosure", firstWins<&F::items, &I::enclosure>, nothing},
    {"/guid", firstWins<&F::items, &I::guid>, append<&F::items, &I::guid, &RSSFeedItemGUID::value>},
    {"/pubDate", nothing, date<&F::items, &I::pubDate>},
    {"/source", firstWins<&F::items, &I::source>, append<&F::items, &I::source, &RSSFeedItemSource::value>},
    {"/content:encoded", firstWins<&F::items, &I::content>,
        append<&F::items, &I::content, &ContentNamespace::contentEncoded>},
};

constexpr PathRow<RSSFeed> kITunesChannelRows[] = {
    {"author", nothing, append<&F::iTunes, &T::iTunesAuthor>},
    {"block", nothing, append<&F::iTunes, &T::iTunesBlock>},
    {"category", add<&F::iTunes, &T::iTunesCategories>, nothing},
    {"category/itunes:category", lastWins<&F::iTunes, &T::iTunesCategories, &ITunesCategory::subcategory>, nothing},
    {"image", lastWins<&F::iTunes, &T::iTunesImage>, nothing},
    {"explicit", nothing, append<&F::iTunes, &T::iTunesExplicit>},
    {"complete", nothing, append<&F::iTunes, &T::iTunesComplete>},
    {"new-feed-url", nothing, append<&F::iTunes, &T::iTunesNewFeedURL>},
    {"owner", firstWins<&F::iTunes, &T::iTunesOwner>, nothing},
    {"owner/itunes:email", nothing, append<&F::iTunes, &T::iTunesOwner, &ITunesOwner::email>},
    {"owner/itunes:name", nothing, append<&F::iTunes, &T::iTunesOwner, &ITunesOwner::name>},
    {"title", nothing, append<&F::iTunes, &T::iTunesTitle>},
    {"subtitle", nothing, append<&F::iTunes, &T::iTunesSubtitle>},
    {"summary", nothing, append<&F::iTunes, &T::iTunesSummary>},
    {"keywords", nothing, append<&F::iTunes, &T::iTunesKeywords>},
    {"type", nothing, append<&F::iTunes, &T::iTunesType>},
};

constexpr PathRow<RSSFeed> kITunesItemRows[] = {
    {"author", nothing, append<&F::items, &I::iTunes, &T::iTunesAuthor>},
    {"block", nothing, append<&F::items, &I::iTunes, &T::iTunesBlock>},
    {"image", lastWins<&F::items, &I::iTunes, &T::iTunesImage>, nothing},
    {"duration", nothing, duration<&F::items, &I::iTunes, &T::iTunesDuration>},
    {"explicit", nothing, append<&F::items, &I::iTunes, &T::iTunesExplicit>},
    {"isClosedCaptioned", nothing, append<&F::items, &I::iTunes, &T::isClosedCaptioned>},
    {"order", nothing, integer<&F::items, &I::iTunes, &T::iTunesOrder>},
    {"title", nothing, append<&F::items, &I::iTunes, &T::iTunesTitle>},
    {"subtitle", nothing, append<&F::items, &I::iTunes, &T::iTunesSubtitle>},
    {"summary", nothing, append<&F::items, &I::iTunes, &T::iTunesSummary>},
    {"keywords", nothing, append<&F::items, &I::iTunes, &T::iTunesKeywords>},
    {"episodeType", nothing, append<&F::items, &I::iTunes, &T::iTunesEpisodeType>},
    {"season", nothing, integer<&F::items, &I::iTunes, &T::iTunesSeason>},
    {"episode", nothing, integer<&F::items, &I::iTunes, &T::iTunesEpisode>},
};

constexpr auto kMakeMedia = firstWins<&F::items, &I::media>;

constexpr PathBlock<RSSFeed> kRSSPath[] = {
    {"", kChannelRows, nothing},
    {"/rss/channel/item", kItemRows, nothing},
    {"/rss/channel/sy:", kSyndicationRows<F, &F::syndication>, firstWins<&F::syndication>},
    {"/rss/channel/dc:", kDublinCoreRows<F, &F::dublinCore>, firstWins<&F::dublinCore>},
    {"/rss/channel/item/dc:", kDublinCoreRows<F, &F::items, &I::dublinCore>, firstWins<&F::items, &I::dublinCore>},
    {"/rss/channel/itunes:", kITunesChannelRows, firstWins<&F::iTunes>},
    {"/rss/channel/item/itunes:", kITunesItemRows, firstWins<&F::items, &I::iTunes>},
    {"/rss/channel/item/media:", kMediaRows<F, &F::items, &I::media>, kMakeMedia},
    {"/rss/channel/item/media:content/media:",
        kMediaContentRows<F, &F::items, &I::media, &MediaNamespace::mediaContents>, kMakeMedia},
    {"/rss/channel/item/media:", kMediaOptionalRows<F, &F::items, &I::media>, kMakeMedia},
    {"/rss/channel/item/media:scenes/media:scene/",
        kMediaSceneRows<F, &F::items, &I::media, &MediaNamespace::mediaScenes>, nothing},
    {"/rss/channel/item/media:", kMediaGroupRows<F, &F::items, &I::media>, kMakeMedia},
};
static_assert(rowsIn<RSSFeed>(kRSSPath) == 147);

} // namespace

std::span<const PathBlock<RSSFeed>> rssPathBlocks()
{
    return kRSSPath;
}

const PathTable<RSSFeed>& rssPathTable()
{
    static const PathTable<RSSFeed> table(kRSSPath);
    return table;
}

std::optional<RSSPath> makeRSSPath(std::string_view path)
{
    const auto row = rssPathTable().automaton().find(path);
    return row < 0 ? std::nullopt : std::optional(RSSPath(row));
}

std::string_view rawValue(RSSPath row)
{
    return rssPathTable().paths()[static_cast<std::size_t>(row)];
}

void map(RSSFeed& feed, const ElementAttributes& attributes, RSSPath row)
{
    rssPathTable().row(static_cast<std::int32_t>(row)).mapStart(feed, attributes);
}

void map(RSSFeed& feed, std::string_view text, RSSPath row)
{
    if (const auto& action = rssPathTable().row(static_cast<std::int32_t>(row)).text; action.run)
        action.run(feed, text);
}

} // namespace FeedKit
