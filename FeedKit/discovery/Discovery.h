#pragma once

#include "FeedKit/basics/Export.h"
#include "FeedKit/fetch/URL.h"

#include <string>
#include <string_view>
#include <vector>

namespace FeedKit {

// A feed that a page tells of. Texts are a stranger's, UTF-8 if the page is.
struct DiscoveredFeed {
    URL url = URL("");
    std::string title; // plain text, one line; empty if the page gives none
    std::string type; // the media type that the page gives, in small letters; empty if none
    bool isGuess = false; // an ordinary link that looks like one, or one whose type many other things have

    friend bool operator==(const DiscoveredFeed&, const DiscoveredFeed&) = default;
};

// The feeds of the page `html` that lies at `address`. First, in the page's order, what it declares:
// `link` with rel="alternate" and the media type of RSS, Atom, RDF or JSON Feed, and with rel="feed". Then, as guesses,
// such links with the type of any JSON or XML whose address or title has the word "feed", and ordinary links whose
// address ends like a feed's or has a part "feed", "feeds", "rss" or "atom". Addresses are resolved against the page's
// `base` and `address`; each comes once, whatever its fragment, and only if it has a scheme of FeedParser's; without
// `address` relative ones stay as written. At most 64. Whatever the page holds, it takes linear time. Any thread.
FEEDKIT_API std::vector<DiscoveredFeed> discoverFeeds(std::string_view html, const URL& address);

} // namespace FeedKit
