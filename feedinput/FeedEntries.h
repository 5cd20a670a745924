#pragma once

#include "FeedKit/entries/Entries.h"
#include "FeedKit/fetch/Fetcher.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <optional>
#include <stop_token>

// The entries of a feed of any format, as compositions are told of them. Unlike the feed itself, which is read
// strictly, they are also of documents that aren't quite what they should be. Any thread.
namespace vitrel {

// "title", "link", "description", "image", "updated" and "entries", all there, nothing for what is absent;
// docs/compositions.md has those of an entry. Dates are seconds since 2001-01-01 00:00:00 UTC. Texts are plain, and cut
// behind 20,000 characters; an address that is longer is none.
Dictionary entriesDictionary(const FeedKit::Entries& entries);

// All that can be read of a document that was asked for at `asked`. Absent if it is no feed, or says so little that it
// could be anything: neither a title nor an entry, or a document that broke off ahead of its first entry. Linear
// time; memory that of FeedKit::readLeniently and FeedKit::entriesOf.
std::optional<Dictionary> readEntries(
    const FeedKit::FetchedContents& document, const FeedKit::URL& asked, std::stop_token stop);

// The same with its first `count` entries, all for 0 or below.
Dictionary firstEntries(Dictionary entries, std::int64_t count);

} // namespace vitrel
