// A list of subscriptions.
#include "FeedKit/opml/OPML.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace FeedKit;
    const auto opml = readOPML({data, size});
    if (!opml)
        return 0;
    // What the writer leaves out of it is gone after the first time.
    const auto text = writeOPML(*opml);
    const auto again = readOPML(bytesOf(text));
    if (!again || writeOPML(*again) != text || subscriptionsIn(*again).size() != subscriptionsIn(*opml).size())
        std::abort();
    return 0;
}
