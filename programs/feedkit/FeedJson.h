#pragma once

#include "FeedKit/basics/Result.h"
#include "FeedKit/fetch/URL.h"
#include "FeedKit/models/Leniency.h"
#include "programs/feedkit/JsonText.h"

#include <string>
#include <string_view>

namespace vitrel {

// What a strict reading gives has forgiven nothing.
using ParsedFeed = FeedKit::Result<FeedKit::Reading, FeedKit::ParserError>;

enum class JsonLayout {
    line, // no line end in it
    pretty // a field on each line
};

// "rss", "atom" or "json".
std::string_view kindOf(const FeedKit::Feed& feed);

// What is known of one document: its name and either kind, what was forgiven if anything was, and feed, or the error.
// The feed has the models' field names and nothing for absent fields; enumerations are their text, dates seconds since
// 1970-01-01 UTC. Bytes of the name that aren't UTF-8 become U+FFFD. No line end behind it.
void writeDocumentJson(std::string_view name, const ParsedFeed& parsed, JsonLayout layout, const TextSink& sink);
std::string documentJson(std::string_view name, const ParsedFeed& parsed, JsonLayout layout);

// An object for each entry of the view that all formats share (FeedKit/entries): the document's name and the entry's
// fields, without those that are absent or empty. Of a document in error the object above. Addresses are resolved
// against `address`, which may be empty. A line end behind each.
void writeEntriesJson(std::string_view name, const ParsedFeed& parsed, const FeedKit::URL& address, JsonLayout layout,
    const TextSink& sink);

// In words, for a user.
std::string reasonOf(const FeedKit::ParserError& error);

} // namespace vitrel
