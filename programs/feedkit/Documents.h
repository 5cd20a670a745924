#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/fetch/URL.h"
#include "FeedKit/models/Extent.h"
#include "programs/feedkit/FeedJson.h"

#include <string>

namespace vitrel {

// Whether an argument is an address rather than a file: it begins with a scheme that can be fetched, or with any and
// "//". A file of such a name is reached as "./NAME".
bool isAddress(const std::string& name);

// The feed of a file, an address or, for "-", of standard input. XML is read piece by piece, whatever its size.
// With a leniency, what it allows is forgiven, and the document is read as a whole first. Any thread.
ParsedFeed parseDocument(const std::string& name, const FeedKit::Leniency& leniency = {});

struct Document {
    ParsedFeed feed;
    FeedKit::URL address; // where it lay in the end; empty for a file
};

// The same, with where it lay.
Document readDocument(const std::string& name, const FeedKit::Leniency& leniency, FeedKit::Extent extent);

struct Contents {
    FeedKit::Bytes bytes;
    FeedKit::URL address; // as above
};

// The bytes of anything, up to 64 MiB; else why there are none. Any thread.
FeedKit::Result<Contents, std::string> contentsOf(const std::string& name);

} // namespace vitrel
