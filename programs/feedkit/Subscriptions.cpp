#include "programs/feedkit/Subscriptions.h"

#include "FeedKit/basics/Letters.h"
#include "FeedKit/entries/Entries.h"

namespace vitrel {

using namespace FeedKit;

Subscriptions subscriptionsOf(const std::string& list)
{
    Subscriptions found;
    const auto contents = contentsOf(list);
    if (!contents) {
        found.complaints.push_back(list + ": " + contents.error());
        return found;
    }
    const auto opml = readOPML(contents->bytes);
    if (!opml) {
        found.complaints.push_back(list + ": " + reasonOf(opml.error()));
        return found;
    }
    const bool mayNameFiles = contents->address.text().empty() || sameIgnoringCase(contents->address.scheme(), "file");
    for (const auto& outline : subscriptionsIn(*opml)) {
        const auto address = resolved(contents->address, *outline.xmlUrl).value_or(URL(*outline.xmlUrl));
        const bool isFile = sameIgnoringCase(address.scheme(), "file");
        if (isAddress(address.text()) && (mayNameFiles || !isFile))
            found.documents.push_back(address.text());
        else
            found.complaints.push_back(list + ": no address of a feed: " + *outline.xmlUrl);
    }
    return found;
}

Outline outlineOf(const std::string& name, const Feed& feed, const URL& address)
{
    const auto entries = entriesOf(feed, address);
    Outline outline;
    outline.type = "rss"; // what lists say of feeds of any format
    // The address that was asked for, and not the one behind its redirects: these may change.
    outline.xmlUrl = isAddress(name) ? name : entries.self;
    outline.text = entries.title ? *entries.title : outline.xmlUrl.value_or(name);
    outline.htmlUrl = entries.link;
    outline.description = entries.description;
    outline.language = entries.language;
    return outline;
}

} // namespace vitrel
