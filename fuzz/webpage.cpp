// A web page, of which the text is read and the feeds are found.
#include "FeedKit/discovery/Discovery.h"
#include "FeedKit/html/Text.h"
#include "base/Text.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace FeedKit;
    const auto page = vitrel::repairedUtf8({reinterpret_cast<const char*>(data), size});
    const auto text = textOfHTML(page);
    const auto line = lineOfHTML(page);
    if (text.size() > page.size() || vitrel::repairedUtf8(text) != text || text.find("\n\n\n") != text.npos
        || line.find_first_of("\n\t\r") != line.npos || line.find("  ") != line.npos)
        std::abort();
    // What it shows is text, which shows the same; only line ends are written otherwise.
    if (lineOfHTML(htmlOfText(line)) != line)
        std::abort();
    const auto feeds = discoverFeeds(page, URL("http://example.org/a/b"));
    if (feeds.size() > 64)
        std::abort();
    for (const auto& feed : feeds) {
        if (feed.url.scheme().empty() || vitrel::repairedUtf8(feed.title) != feed.title)
            std::abort();
    }
    return 0;
}
