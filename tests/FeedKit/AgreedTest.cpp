// What is agreed on of real documents: what each reading makes of them, and what the lenient one gains.
#include "FeedKit/FeedParser.h"
#include "FeedKit/Leaves.h"
#include "FeedKit/LenientReading.h"
#include "FeedKit/Samples.h"

#include <sstream>

namespace FeedKit {
namespace {

std::vector<std::string> split(const std::string& text, const std::string& mark)
{
    std::vector<std::string> pieces;
    for (std::size_t from = 0;;) {
        const auto at = text.find(mark, from);
        pieces.push_back(text.substr(from, at - from));
        if (at == text.npos)
            return pieces;
        from = at + mark.size();
    }
}

std::string kindOf(const Feed& feed)
{
    return feed.rssFeed() ? "rss" : feed.atomFeed() ? "atom" : "json";
}

std::string itemsIn(const Feed& feed)
{
    const auto count = [](const auto& items) { return std::to_string(items ? items->size() : 0); };
    return feed.rssFeed() ? count(feed.rssFeed()->items)
        : feed.atomFeed() ? count(feed.atomFeed()->entries)
                          : count(feed.jsonFeed()->items);
}

std::string forgivenIn(const Reading& reading)
{
    std::string names;
    for (const auto& one : reading.forgiven)
        names.append(names.empty() ? "" : ",").append(rawValue(one.what));
    return names.empty() ? "-" : names;
}

TEST(AgreedDocuments, AreReadAsAgreed)
{
    const auto documents = sampleFeeds();
    if (documents.empty())
        GTEST_SKIP() << "no sample feeds";
    std::istringstream table(vitrel::TemporaryFolder::read(FEEDKIT_AGREED));
    std::size_t rows = 0;
    for (std::string row; std::getline(table, row);) {
        if (row.starts_with('#'))
            continue;
        ++rows;
        const auto columns = split(row, "\t");
        const auto found = documents.find(VITREL_SAMPLES "/feeds/" + columns[0]);
        ASSERT_NE(found, documents.end()) << columns[0];
        const auto bytes = bytesOf(found->second);
        const auto strict = FeedParser(Bytes(bytes.begin(), bytes.end())).parse();
        EXPECT_EQ(strict ? kindOf(*strict) : std::string(strict.error().name()), columns[1]) << row;
        EXPECT_EQ(strict ? itemsIn(*strict) : "-", columns[2]) << row;
        const auto lenient = readLeniently(bytes, Leniency::all());
        ASSERT_TRUE(lenient) << row;
        EXPECT_EQ(kindOf(lenient->feed), columns[3]) << row;
        EXPECT_EQ(itemsIn(lenient->feed), columns[4]) << row;
        EXPECT_EQ(forgivenIn(*lenient), columns[5]) << row;
        EXPECT_TRUE(!lenient->forgiven.empty() || (strict && *strict == lenient->feed)) << row;
        if (columns[6] == "-")
            continue;
        const auto before = strict ? leavesOf(*strict) : Leaves();
        auto leaves = leavesOf(lenient->feed);
        for (const auto& gain : split(columns[6], " ; ")) {
            const auto equals = gain.find('=');
            EXPECT_EQ(leaves[gain.substr(0, equals)], gain.substr(equals + 1)) << row;
            EXPECT_FALSE(before.count(gain.substr(0, equals))) << "no gain: " << row;
        }
    }
    EXPECT_EQ(rows, documents.size()) << "each document has its row";
}

} // namespace
} // namespace FeedKit
