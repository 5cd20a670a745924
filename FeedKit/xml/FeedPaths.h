#pragma once

#include "FeedKit/models/Feed.h"
#include "FeedKit/xml/PathTable.h"

#include <cstdint>
#include <optional>
#include <string_view>

// The element paths that have a meaning, and what it is. An enumeration's values are the rows of its table, from 0 on,
// in the order of the table.
namespace FeedKit {

enum class RSSPath : std::uint16_t {}; // 147 rows
enum class RDFPath : std::uint16_t {}; // 51
enum class AtomPath : std::uint16_t {}; // 74

// The row of a path such as "/rss/channel/title"; absent if it is none. Letter for letter.
std::optional<RSSPath> makeRSSPath(std::string_view path);
std::optional<RDFPath> makeRDFPath(std::string_view path);
std::optional<AtomPath> makeAtomPath(std::string_view path);

std::string_view rawValue(RSSPath row);
std::string_view rawValue(RDFPath row);
std::string_view rawValue(AtomPath row);

// What the start tag of the row's element does to the feed, and what a text right within it does. A row whose parent
// object is missing does nothing.
void map(RSSFeed& feed, const ElementAttributes& attributes, RSSPath row);
void map(RSSFeed& feed, std::string_view text, RSSPath row);
void map(RSSFeed& feed, const ElementAttributes& attributes, RDFPath row);
void map(RSSFeed& feed, std::string_view text, RDFPath row);
void map(AtomFeed& feed, const ElementAttributes& attributes, AtomPath row);
void map(AtomFeed& feed, std::string_view text, AtomPath row);

const PathTable<RSSFeed>& rssPathTable();
const PathTable<RSSFeed>& rdfPathTable();
const PathTable<AtomFeed>& atomPathTable();

// The rows of the tables, for others that go on from them.
std::span<const PathBlock<RSSFeed>> rssPathBlocks();
std::span<const PathBlock<RSSFeed>> rdfPathBlocks();
std::span<const PathBlock<AtomFeed>> atomPathBlocks();

// The same tables with what a parse keeps if it is asked for more.
const PathTable<RSSFeed>& rssMorePathTable();
const PathTable<RSSFeed>& rdfMorePathTable();
const PathTable<AtomFeed>& atomMorePathTable();

} // namespace FeedKit
