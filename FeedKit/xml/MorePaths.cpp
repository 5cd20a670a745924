// What a parse keeps beyond the formats' own models, if it is asked to: further rows for the same tables.
#include "FeedKit/xml/FeedPaths.h"
#include "FeedKit/xml/NamespaceRows.h"

namespace FeedKit {

namespace {

constexpr char kAbout[] = "rdf:about";
constexpr char kType[] = "type";

using F = RSSFeed;
using I = RSSFeedItem;
using FM = RSSFeedMore;
using IM = RSSFeedItemMore;
using A = AtomFeed;
using E = AtomFeedEntry;
using AM = AtomFeedMore;
using EM = AtomFeedEntryMore;

// --- podcast: P is the way to the namespace's object.

template <class Feed, auto... P>
inline constexpr PathRow<Feed> kPodcastRows[] = {
    {"guid", nothing, append<P..., &PodcastNamespace::guid>},
    {"medium", nothing, append<P..., &PodcastNamespace::medium>},
    {"locked", nothing, append<P..., &PodcastNamespace::locked>},
    {"license", firstWins<P..., &PodcastNamespace::license>,
        append<P..., &PodcastNamespace::license, &PodcastLicense::value>},
    {"funding", add<P..., &PodcastNamespace::fundings>,
        append<P..., &PodcastNamespace::fundings, &PodcastFunding::value>},
    {"trailer", add<P..., &PodcastNamespace::trailers>,
        append<P..., &PodcastNamespace::trailers, &PodcastTrailer::value>},
    {"person", add<P..., &PodcastNamespace::persons>, append<P..., &PodcastNamespace::persons, &PodcastPerson::value>},
    {"location", add<P..., &PodcastNamespace::locations>,
        append<P..., &PodcastNamespace::locations, &PodcastLocation::value>},
    {"transcript", add<P..., &PodcastNamespace::transcripts>, nothing},
    {"chapters", firstWins<P..., &PodcastNamespace::chapters>, nothing},
    {"soundbite", add<P..., &PodcastNamespace::soundbites>,
        append<P..., &PodcastNamespace::soundbites, &PodcastSoundbite::value>},
    {"season", firstWins<P..., &PodcastNamespace::season>,
        append<P..., &PodcastNamespace::season, &PodcastSeason::value>},
    {"episode", firstWins<P..., &PodcastNamespace::episode>,
        append<P..., &PodcastNamespace::episode, &PodcastEpisode::value>},
    {"alternateEnclosure", add<P..., &PodcastNamespace::alternateEnclosures>, nothing},
    {"alternateEnclosure/podcast:source",
        add<P..., &PodcastNamespace::alternateEnclosures, &PodcastAlternateEnclosure::sources>, nothing},
};

// --- Media RSS, as in NamespaceRows.h.

// What is right under the item, and what is in a group alike. O is MediaNamespace or MediaGroup.
template <class Feed, class O, auto... M>
inline constexpr PathRow<Feed> kMediaTextRows[] = {
    {"title", firstWins<M..., &O::mediaTitle>, append<M..., &O::mediaTitle, &MediaTitle::value>},
    {"description", firstWins<M..., &O::mediaDescription>,
        append<M..., &O::mediaDescription, &MediaDescription::value>},
    {"keywords", newArray<M..., &O::mediaKeywords>, keywords<M..., &O::mediaKeywords>},
    {"category", firstWins<M..., &O::mediaCategory>, append<M..., &O::mediaCategory, &MediaCategory::value>},
    {"rating", firstWins<M..., &O::mediaRating>, append<M..., &O::mediaRating, &MediaRating::value>},
    {"credit", add<M..., &O::mediaCredits>, append<M..., &O::mediaCredits, &MediaCredit::value>},
    {"player", firstWins<M..., &O::mediaPlayer>, append<M..., &O::mediaPlayer, &MediaPlayer::value>},
};

template <class Feed, auto... M>
inline constexpr PathRow<Feed> kMediaOwnRows[] = {
    {"hash", firstWins<M..., &MediaNamespace::mediaHash>, append<M..., &MediaNamespace::mediaHash, &MediaHash::value>},
    {"copyright", firstWins<M..., &MediaNamespace::mediaCopyright>,
        append<M..., &MediaNamespace::mediaCopyright, &MediaCopyright::value>},
    {"text", firstWins<M..., &MediaNamespace::mediaText>, append<M..., &MediaNamespace::mediaText, &MediaText::value>},
    {"rights", firstWins<M..., &MediaNamespace::mediaRights>, nothing},
};

template <class Feed, auto... G>
inline constexpr PathRow<Feed> kMediaInGroupRows[] = {
    {"thumbnail", add<G..., &MediaGroup::mediaThumbnails>,
        append<G..., &MediaGroup::mediaThumbnails, &MediaThumbnail::value>},
    {"community", firstWins<G..., &MediaGroup::mediaCommunity>, nothing},
    {"community/media:starRating", firstWins<G..., &MediaGroup::mediaCommunity, &MediaCommunity::mediaStarRating>,
        nothing},
    {"community/media:statistics", firstWins<G..., &MediaGroup::mediaCommunity, &MediaCommunity::mediaStatistics>,
        nothing},
};

// --- RSS

constexpr auto kMakeFeedMore = firstWins<&F::more>;
constexpr auto kMakeItemMore = firstWins<&F::items, &I::more>;
constexpr auto kMakeMedia = firstWins<&F::items, &I::media>;
constexpr auto kMakeFeedPodcast = both<kMakeFeedMore, firstWins<&F::more, &FM::podcast>>;
constexpr auto kMakeItemPodcast = both<kMakeItemMore, firstWins<&F::items, &I::more, &IM::podcast>>;

constexpr PathRow<RSSFeed> kRSSChannelRows[] = {
    {"atom:link", add<&F::more, &FM::links>, nothing},
    {"pubDate", nothing, both<date<&F::pubDate>, append<&F::more, &FM::pubDateText>>},
    {"lastBuildDate", nothing, both<date<&F::lastBuildDate>, append<&F::more, &FM::lastBuildDateText>>},
};

constexpr PathRow<RSSFeed> kRSSItemRows[] = {
    {"atom:link", add<&F::items, &I::more, &IM::links>, nothing},
    {"enclosure", both<firstWins<&F::items, &I::enclosure>, add<&F::items, &I::more, &IM::enclosures>>, nothing},
    {"pubDate", nothing, both<date<&F::items, &I::pubDate>, append<&F::items, &I::more, &IM::pubDateText>>},
};

// What Dublin Core's own rows do, and the text.
constexpr PathRow<RSSFeed> kChannelDateRows[] = {
    {"date", firstWins<&F::dublinCore>,
        both<date<&F::dublinCore, &DublinCoreNamespace::dcDate>, append<&F::more, &FM::dcDateText>>},
};
constexpr PathRow<RSSFeed> kItemDateRows[] = {
    {"date", firstWins<&F::items, &I::dublinCore>,
        both<date<&F::items, &I::dublinCore, &DublinCoreNamespace::dcDate>,
            append<&F::items, &I::more, &IM::dcDateText>>},
};

constexpr PathBlock<RSSFeed> kRSSMore[] = {
    {"/rss/channel/", kRSSChannelRows, kMakeFeedMore},
    {"/rss/channel/item/", kRSSItemRows, kMakeItemMore},
    {"/rss/channel/dc:", kChannelDateRows, kMakeFeedMore},
    {"/rss/channel/item/dc:", kItemDateRows, kMakeItemMore},
    {"/rss/channel/podcast:", kPodcastRows<F, &F::more, &FM::podcast>, kMakeFeedPodcast},
    {"/rss/channel/item/podcast:", kPodcastRows<F, &F::items, &I::more, &IM::podcast>, kMakeItemPodcast},
    {"/rss/channel/item/media:", kMediaTextRows<F, MediaNamespace, &F::items, &I::media>, kMakeMedia},
    {"/rss/channel/item/media:", kMediaOwnRows<F, &F::items, &I::media>, kMakeMedia},
    {"/rss/channel/item/media:group/media:",
        kMediaTextRows<F, MediaGroup, &F::items, &I::media, &MediaNamespace::mediaGroup>, nothing},
    {"/rss/channel/item/media:group/media:", kMediaInGroupRows<F, &F::items, &I::media, &MediaNamespace::mediaGroup>,
        nothing},
    {"/rss/channel/item/media:group/media:content/media:",
        kMediaContentRows<F, &F::items, &I::media, &MediaNamespace::mediaGroup, &MediaGroup::mediaContents>, nothing},
};

// --- RDF

constexpr PathRow<RSSFeed> kRDFRows[] = {
    {"/item", both<both<add<&F::items>, kMakeItemMore>, keepAttribute<kAbout, &F::items, &I::more, &IM::about>>,
        nothing},
};

constexpr PathBlock<RSSFeed> kRDFMore[] = {
    {"/rdf:RDF", kRDFRows, nothing},
    {"/rdf:RDF/channel/dc:", kChannelDateRows, kMakeFeedMore},
    {"/rdf:RDF/item/dc:", kItemDateRows, kMakeItemMore},
    {"/rdf:RDF/item/media:", kMediaRows<F, &F::items, &I::media>, kMakeMedia},
    {"/rdf:RDF/item/media:", kMediaTextRows<F, MediaNamespace, &F::items, &I::media>, kMakeMedia},
};

// --- Atom

constexpr auto kMakeAtomMore = firstWins<&A::more>;
constexpr auto kMakeEntryMore = firstWins<&A::entries, &E::more>;
constexpr auto kMakeEntryMedia = firstWins<&A::entries, &E::media>;

constexpr PathRow<AtomFeed> kAtomRows[] = {
    {"title", keepAttribute<kType, &A::more, &AM::titleType>, append<&A::title>},
    {"updated", nothing, both<date<&A::updated>, append<&A::more, &AM::updatedText>>},
};

constexpr PathRow<AtomFeed> kEntryRows[] = {
    {"title", keepAttribute<kType, &A::entries, &E::more, &EM::titleType>, append<&A::entries, &E::title>},
    {"updated", nothing, both<date<&A::entries, &E::updated>, append<&A::entries, &E::more, &EM::updatedText>>},
    {"published", nothing, both<date<&A::entries, &E::published>, append<&A::entries, &E::more, &EM::publishedText>>},
};

constexpr PathBlock<AtomFeed> kAtomMore[] = {
    {"/feed/", kAtomRows, kMakeAtomMore},
    {"/feed/entry/", kEntryRows, kMakeEntryMore},
    {"/feed/entry/media:", kMediaTextRows<A, MediaNamespace, &A::entries, &E::media>, kMakeEntryMedia},
    {"/feed/entry/media:", kMediaOwnRows<A, &A::entries, &E::media>, kMakeEntryMedia},
    {"/feed/entry/media:content/media:", kMediaContentRows<A, &A::entries, &E::media, &MediaNamespace::mediaContents>,
        kMakeEntryMedia},
    {"/feed/entry/media:group/media:",
        kMediaTextRows<A, MediaGroup, &A::entries, &E::media, &MediaNamespace::mediaGroup>, nothing},
    {"/feed/entry/media:group/media:", kMediaInGroupRows<A, &A::entries, &E::media, &MediaNamespace::mediaGroup>,
        nothing},
    {"/feed/entry/media:group/media:content/media:",
        kMediaContentRows<A, &A::entries, &E::media, &MediaNamespace::mediaGroup, &MediaGroup::mediaContents>, nothing},
};

template <class Feed>
PathTable<Feed> joined(std::span<const PathBlock<Feed>> rows, std::span<const PathBlock<Feed>> further)
{
    std::vector<PathBlock<Feed>> all(rows.begin(), rows.end());
    all.insert(all.end(), further.begin(), further.end());
    return PathTable<Feed>(all);
}

} // namespace

const PathTable<RSSFeed>& rssMorePathTable()
{
    static const auto table = joined<RSSFeed>(rssPathBlocks(), kRSSMore);
    return table;
}

const PathTable<RSSFeed>& rdfMorePathTable()
{
    static const auto table = joined<RSSFeed>(rdfPathBlocks(), kRDFMore);
    return table;
}

const PathTable<AtomFeed>& atomMorePathTable()
{
    static const auto table = joined<AtomFeed>(atomPathBlocks(), kAtomMore);
    return table;
}

} // namespace FeedKit
