#include "programs/feedkit/Pages.h"

#include "FeedKit/discovery/Discovery.h"
#include "programs/feedkit/Documents.h"

namespace vitrel {

using namespace FeedKit;

Report feedsOfPage(const std::string& name, bool pretty)
{
    Report report;
    const TextSink sink = [&](std::string_view piece) {
        report.text += piece;
        return true;
    };
    const auto contents = contentsOf(name);
    if (!contents) {
        const ParsedFeed failure = ParserError::internalError(contents.error());
        report.text = documentJson(name, failure, pretty ? JsonLayout::pretty : JsonLayout::line) + "\n";
        report.failed = true;
        return report;
    }
    const auto feeds = discoverFeeds(textOf(contents->bytes), contents->address);
    for (const auto& feed : feeds) {
        JsonText to(pretty, sink);
        const auto field = [&](std::string_view key, const std::string& value) {
            if (value.empty())
                return;
            to.key(key);
            to.string(repairedUtf8(value));
        };
        to.begin('{');
        field("file", name);
        field("url", feed.url.text());
        field("title", feed.title);
        field("type", feed.type);
        if (feed.isGuess) {
            to.key("guess");
            to.boolean(true);
        }
        to.end('}');
        sink("\n");
    }
    report.failed = feeds.empty();
    return report;
}

} // namespace vitrel
