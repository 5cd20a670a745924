#include "FeedKit/Samples.h"
#include "FeedKit/json/JSONFeedParser.h"
#include "support/PlainJSONFeed.h"

#include <gtest/gtest.h>

namespace FeedKit {
namespace {

using vitrel::bytesOf;

// Every document of the folder, by a second reader of JSON.
TEST(SharedFeeds, ReadAsASecondReaderReadsThem)
{
    const auto samples = sampleFeeds();
    if (samples.empty())
        GTEST_SKIP() << "no sample feeds";
    const RFC3339DateFormatter formatter;
    const auto dates = [&](const std::string& text) { return formatter.date(text); };
    int feeds = 0;
    for (const auto& [path, json] : samples) {
        if (path.extension() != ".json")
            continue;
        const auto feed = JSONFeedParser(bytesOf(json)).parse();
        const auto plain = PlainJSONFeed::decode(json, dates);
        ASSERT_EQ(feed.has_value(), plain.has_value()) << path;
        if (!feed)
            continue;
        ++feeds;
        EXPECT_TRUE(*feed->jsonFeed() == *plain) << path;
    }
    EXPECT_GT(feeds, 5);
}

} // namespace
} // namespace FeedKit
