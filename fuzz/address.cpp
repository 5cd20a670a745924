// An address of a feed, as somebody typed or a document gave it.
#include "FeedKit/fetch/URL.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const FeedKit::URL url(text);
    // Pieces of the text in its order, none of them reaching into the next.
    if (url.scheme().size() + url.host().size() + url.path().size() > text.size())
        std::abort();
    // What has been found once is an address, and the same from anywhere.
    const FeedKit::URL base("http://host/a/b?c");
    const auto found = FeedKit::resolved(base, text);
    if (!found || found->scheme().empty() || FeedKit::resolved(base, found->text()) != found)
        std::abort();
    static_cast<void>(FeedKit::resolved(url, "../a/b"));
    const auto replaced = FeedKit::replacing(url, "feed", "http");
    if (!replaced)
        std::abort();
    if (*replaced == url)
        return 0;
    if (replaced->text().substr(4) != text.substr(4) || replaced->scheme() != "http" || replaced->host() != url.host()
        || replaced->path() != url.path())
        std::abort();
    return 0;
}
