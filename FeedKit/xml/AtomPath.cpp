#include "FeedKit/xml/FeedPaths.h"
#include "FeedKit/xml/NamespaceRows.h"

namespace FeedKit {

namespace {

using F = AtomFeed;
using E = AtomFeedEntry;

constexpr PathRow<AtomFeed> kFeedRows[] = {
    {"", nothing, nothing},
    {"/title", nothing, append<&F::title>},
    {"/subtitle", firstWins<&F::subtitle>, append<&F::subtitle, &AtomFeedSubtitle::value>},
    {"/link", add<&F::links>, nothing},
    {"/updated", nothing, date<&F::updated>},
    {"/category", add<&F::categories>, nothing},
    {"/author", add<&F::authors>, nothing},
    {"/author/name", nothing, append<&F::authors, &AtomFeedAuthor::name>},
    {"/author/email", nothing, append<&F::authors, &AtomFeedAuthor::email>},
    {"/author/uri", nothing, append<&F::authors, &AtomFeedAuthor::uri>},
    {"/contributor", add<&F::contributors>, nothing},
    {"/contributor/name", nothing, append<&F::contributors, &AtomFeedContributor::name>},
    {"/contributor/email", nothing, append<&F::contributors, &AtomFeedContributor::email>},
    {"/contributor/uri", nothing, append<&F::contributors, &AtomFeedContributor::uri>},
    {"/id", nothing, append<&F::id>},
    {"/generator", firstWins<&F::generator>, append<&F::generator, &AtomFeedGenerator::value>},
    {"/icon", nothing, append<&F::icon>},
    {"/logo", nothing, append<&F::logo>},
    {"/rights", nothing, append<&F::rights>},
};

constexpr PathRow<AtomFeed> kEntryRows[] = {
    {"", add<&F::entries>, nothing},
    {"/title", nothing, append<&F::entries, &E::title>},
    {"/summary", firstWins<&F::entries, &E::summary>, append<&F::entries, &E::summary, &AtomFeedEntrySummary::value>},
    {"/link", add<&F::entries, &E::links>, nothing},
    {"/updated", nothing, date<&F::entries, &E::updated>},
    {"/category", add<&F::entries, &E::categories>, nothing},
    {"/id", nothing, append<&F::entries, &E::id>},
    {"/content", firstWins<&F::entries, &E::content>, append<&F::entries, &E::content, &AtomFeedEntryContent::value>},
    {"/published", nothing, date<&F::entries, &E::published>},
    {"/source", firstWins<&F::entries, &E::source>, nothing},
    {"/source/id", nothing, append<&F::entries, &E::source, &AtomFeedEntrySource::id>},
    {"/source/title", nothing, append<&F::entries, &E::source, &AtomFeedEntrySource::title>},
    {"/source/updated", nothing, date<&F::entries, &E::source, &AtomFeedEntrySource::updated>},
    {"/rights", nothing, append<&F::entries, &E::rights>},
    {"/author", add<&F::entries, &E::authors>, nothing},
    {"/author/name", nothing, append<&F::entries, &E::authors, &AtomFeedEntryAuthor::name>},
    {"/author/email", nothing, append<&F::entries, &E::authors, &AtomFeedEntryAuthor::email>},
    {"/author/uri", nothing, append<&F::entries, &E::authors, &AtomFeedEntryAuthor::uri>},
    {"/contributor", add<&F::entries, &E::contributors>, nothing},
    {"/contributor/name", nothing, append<&F::entries, &E::contributors, &AtomFeedEntryContributor::name>},
    {"/contributor/email", nothing, append<&F::entries, &E::contributors, &AtomFeedEntryContributor::email>},
    {"/contributor/uri", nothing, append<&F::entries, &E::contributors, &AtomFeedEntryContributor::uri>},
};

constexpr auto kMakeMedia = firstWins<&F::entries, &E::media>;

constexpr PathBlock<AtomFeed> kAtomPath[] = {
    {"/feed", kFeedRows, nothing},
    {"/feed/entry", kEntryRows, nothing},
    {"/feed/entry/media:", kMediaRows<F, &F::entries, &E::media>, kMakeMedia},
    {"/feed/entry/media:", kMediaOptionalRows<F, &F::entries, &E::media>, kMakeMedia},
    {"/feed/entry/media:scenes/media:scene/", kMediaSceneRows<F, &F::entries, &E::media, &MediaNamespace::mediaScenes>,
        nothing},
    {"/feed/entry/media:", kMediaGroupRows<F, &F::entries, &E::media>, kMakeMedia},
};
static_assert(rowsIn<AtomFeed>(kAtomPath) == 74);

} // namespace

std::span<const PathBlock<AtomFeed>> atomPathBlocks()
{
    return kAtomPath;
}

const PathTable<AtomFeed>& atomPathTable()
{
    static const PathTable<AtomFeed> table(kAtomPath);
    return table;
}

std::optional<AtomPath> makeAtomPath(std::string_view path)
{
    const auto row = atomPathTable().automaton().find(path);
    return row < 0 ? std::nullopt : std::optional(AtomPath(row));
}

std::string_view rawValue(AtomPath row)
{
    return atomPathTable().paths()[static_cast<std::size_t>(row)];
}

void map(AtomFeed& feed, const ElementAttributes& attributes, AtomPath row)
{
    atomPathTable().row(static_cast<std::int32_t>(row)).mapStart(feed, attributes);
}

void map(AtomFeed& feed, std::string_view text, AtomPath row)
{
    if (const auto& action = atomPathTable().row(static_cast<std::int32_t>(row)).text; action.run)
        action.run(feed, text);
}

} // namespace FeedKit
