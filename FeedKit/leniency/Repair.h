#pragma once

#include "FeedKit/models/Forgivings.h"

#include <optional>
#include <string>
#include <string_view>

namespace FeedKit {

// An XML document, in UTF-8, without what no XML may have: text ahead of it, references to HTML's characters that it
// doesn't declare, "&" and "<" that mark nothing up, forbidden characters, tags that don't match. Each as far as
// `forgivings` allows, which counts it. Comments, processing instructions, CDATA sections and the document type are
// left alone but for forbidden characters. Its declaration names no encoding any more; lines keep their numbers. Absent
// if it would grow by more than kMostGrowth and half its size. Linear in time. Any thread.
inline constexpr std::size_t kMostGrowth = 16u << 20;
std::optional<std::string> repairedXML(std::string_view text, Forgivings& forgivings);

// Where in `text` a feed in XML begins that other text precedes: at its declaration, its document type or its root.
// npos if none is near the head; 0 if only white space, comments and processing instructions precede its root.
std::size_t startOfFeed(std::string_view text);

} // namespace FeedKit
