#pragma once

#include "FeedKit/opml/OPML.h"
#include "programs/feedkit/Documents.h"

#include <string>
#include <vector>

namespace vitrel {

struct Subscriptions {
    std::vector<std::string> documents; // addresses
    std::vector<std::string> complaints; // a line each, of what of the list can't be read
};

// What a list of subscriptions, which is a file, an address or "-", subscribes to. Only addresses that can be fetched
// are taken from it, and only a list that is a file may name files, as "file:".
Subscriptions subscriptionsOf(const std::string& list);

// What a list says of a document.
FeedKit::Outline outlineOf(const std::string& name, const FeedKit::Feed& feed, const FeedKit::URL& address);

} // namespace vitrel
