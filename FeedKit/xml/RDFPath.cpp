#include "FeedKit/xml/FeedPaths.h"
#include "FeedKit/xml/NamespaceRows.h"

namespace FeedKit {

namespace {

using F = RSSFeed;
using I = RSSFeedItem;

// RSS 1.0 (the RSS-DEV Working Group's specification): items stand beside the channel. The image isn't kept, nor is
// the sequence of items that the channel lists.
constexpr PathRow<RSSFeed> kRows[] = {
    {"", nothing, nothing},
    {"/channel", nothing, nothing},
    {"/channel/title", nothing, append<&F::title>},
    {"/channel/link", nothing, append<&F::link>},
    {"/channel/description", nothing, append<&F::description>},
    {"/channel/image", nothing, nothing},
    {"/channel/items", nothing, nothing},
    {"/channel/items/rdf:Seq", nothing, nothing},
    {"/channel/items/rdf:Seq/rdf:li", nothing, nothing},
    {"/image", nothing, nothing},
    {"/image/title", nothing, nothing},
    {"/image/url", nothing, nothing},
    {"/image/link", nothing, nothing},
    {"/item", add<&F::items>, nothing},
    {"/item/title", nothing, append<&F::items, &I::title>},
    {"/item/link", nothing, append<&F::items, &I::link>},
    {"/item/description", nothing, append<&F::items, &I::description>},
};

constexpr PathRow<RSSFeed> kContentRows[] = {
    {"encoded", firstWins<&F::items, &I::content>, append<&F::items, &I::content, &ContentNamespace::contentEncoded>},
};

constexpr PathBlock<RSSFeed> kRDFPath[] = {
    {"/rdf:RDF", kRows, nothing},
    {"/rdf:RDF/channel/sy:", kSyndicationRows<F, &F::syndication>, firstWins<&F::syndication>},
    {"/rdf:RDF/channel/dc:", kDublinCoreRows<F, &F::dublinCore>, firstWins<&F::dublinCore>},
    {"/rdf:RDF/item/dc:", kDublinCoreRows<F, &F::items, &I::dublinCore>, firstWins<&F::items, &I::dublinCore>},
    {"/rdf:RDF/item/content:", kContentRows, nothing},
};
static_assert(rowsIn<RSSFeed>(kRDFPath) == 51);

} // namespace

std::span<const PathBlock<RSSFeed>> rdfPathBlocks()
{
    return kRDFPath;
}

const PathTable<RSSFeed>& rdfPathTable()
{
    static const PathTable<RSSFeed> table(kRDFPath);
    return table;
}

std::optional<RDFPath> makeRDFPath(std::string_view path)
{
    const auto row = rdfPathTable().automaton().find(path);
    return row < 0 ? std::nullopt : std::optional(RDFPath(row));
}

std::string_view rawValue(RDFPath row)
{
    return rdfPathTable().paths()[static_cast<std::size_t>(row)];
}

void map(RSSFeed& feed, const ElementAttributes& attributes, RDFPath row)
{
    rdfPathTable().row(static_cast<std::int32_t>(row)).mapStart(feed, attributes);
}

void map(RSSFeed& feed, std::string_view text, RDFPath row)
{
    if (const auto& action = rdfPathTable().row(static_cast<std::int32_t>(row)).text; action.run)
        action.run(feed, text);
}

} // namespace FeedKit
