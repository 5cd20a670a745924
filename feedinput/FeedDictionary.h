#pragma once

#include "FeedKit/models/Feed.h"
#include "base/Date.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

// A feed in the shape that compositions expect. Dates are seconds since 2001-01-01 00:00:00 UTC. Any thread.
namespace vitrel {

// "Title", "Description", "SystemTime", "Link", "Articles": all there, nothing for what is absent.
Dictionary informationStructure(std::optional<std::string> title, std::optional<std::string> description,
    std::optional<Date> systemTime, std::optional<std::string> link, std::optional<Array> articles);

// What a composition is told until a feed has arrived.
Dictionary placeholderFeed(Date now);

// The plain texts of articles that have been made ahead, by the item or entry that they belong to. An absent text is of
// an article that can't be read.
using ArticleTexts = std::map<const void*, std::optional<std::string>>;

// Those of the first `count` articles; of all for 0 or below. Takes its time: 20 ms for a megabyte of HTML.
ArticleTexts articleTexts(const FeedKit::Feed& feed, std::int64_t count);

// The dictionary of a feed with its first `count` articles, all for 0 or below. Texts that aren't among `texts` are
// made here.
Dictionary feedDictionary(const FeedKit::RSSFeed& feed, std::int64_t count, const ArticleTexts& texts);
Dictionary feedDictionary(const FeedKit::AtomFeed& feed, std::int64_t count, const ArticleTexts& texts);

} // namespace vitrel
