#pragma once

#include "programs/feedkit/FeedJson.h"

#include <string>

namespace vitrel {

// Whether an argument is an address rather than a file: it begins with a scheme that can be fetched, or with any and
// "//". A file of such a name is reached as "./NAME".
bool isAddress(const std::string& name);

// The feed of a file, an address or, for "-", of standard input. XML is read piece by piece, whatever its size.
// With a leniency, what it allows is forgiven, and the document is read as a whole first. Any thread.
ParsedFeed parseDocument(const std::string& name, const FeedKit::Leniency& leniency = {});

} // namespace vitrel
