// JSON Feed documents: against a second reader of JSON, and there and back through the encoding.
#include "FeedKit/json/JSONCoding.h"
#include "FeedKit/json/JSONFeedParser.h"
#include "PlainJSONFeed.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>

namespace {

using namespace FeedKit;

void expect(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

// Dates as seconds, exactly.
std::string secondsOf(Date date)
{
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, date.secondsSince1970, std::chars_format::hex).ptr};
}

FeedKit::Result<Date, DateDecodingError> dateOf(std::string_view text)
{
    Date date;
    const auto end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, date.secondsSince1970, std::chars_format::hex);
    if (read.ec != std::errc() || read.ptr != end)
        return DateDecodingError{"no seconds"};
    return date;
}

void checkRoundTrip(const JSONFeed& feed)
{
    const auto json = encode(feed, secondsOf);
    const auto again = decode<JSONFeed>(FeedKit::bytesOf(json), dateOf);
    expect(again && *again == feed, "another feed after encoding and decoding");
    expect(nlohmann::json::accept(json), "encoded text that isn't JSON");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto parsed = JSONFeedParser({data, size}).parse();
    expect(parsed || !parsed.error().payload().empty(), "an error without a reason");
    if (parsed)
        checkRoundTrip(*parsed->jsonFeed());
    // The models without dates, for what a feed's own nesting doesn't reach.
    (void)decode<JSONFeedAttachment>({data, size}, decodingStrategy);
    if (PlainJSONFeed::isBorderline(text))
        return 0;
    const RFC3339DateFormatter formatter;
    const auto plain = PlainJSONFeed::decode(text, [&](const std::string& date) { return formatter.date(date); });
    expect(parsed.has_value() == plain.has_value(), "one reader accepts what the other refuses");
    expect(!plain || *plain == *parsed->jsonFeed(), "two readers, two feeds");
    return 0;
}
