// What the articles of a feed cost on their way to a composition: HTML to plain text, and the whole dictionary.
#include "FeedKit/xml/XMLFeedParser.h"
#include "feedinput/FeedDictionary.h"
#include "platform/appkit/NSAttributedString.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace vitrel {
namespace {

// Texts of all articles of the sample feeds, one article after the other.
const std::vector<std::string>& realArticles()
{
    static const auto articles = [] {
        std::vector<std::string> found;
        const std::filesystem::path folder = VITREL_SAMPLES "/feeds";
        if (!std::filesystem::exists(folder))
            return found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (!entry.is_regular_file() || entry.path().extension() != ".xml")
                continue;
            std::ifstream in(entry.path(), std::ios::binary);
            const std::string document(std::istreambuf_iterator<char>(in), {});
            const auto feed = FeedKit::XMLFeedParser(bytesOf(document)).parse();
            if (!feed || !feed->rssFeed() || !feed->rssFeed()->items)
                continue;
            for (const auto& item : *feed->rssFeed()->items) {
                if (item->content && item->content->contentEncoded)
                    found.push_back(*item->content->contentEncoded);
                else if (item->description)
                    found.push_back(*item->description);
            }
        }
        return found;
    }();
    return articles;
}

void textsOfArticles(benchmark::State& state)
{
    std::size_t bytes = 0;
    for (const auto& article : realArticles())
        bytes += article.size();
    for (auto _ : state) {
        for (const auto& article : realArticles())
            benchmark::DoNotOptimize(NSAttributedString::initWithHTML(article));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
    state.counters["articles"] = static_cast<double>(realArticles().size());
}
BENCHMARK(textsOfArticles)->Unit(benchmark::kMillisecond);

void hostile(benchmark::State& state, const char* piece)
{
    std::string html;
    while (html.size() < (1u << 20))
        html += piece;
    for (auto _ : state)
        benchmark::DoNotOptimize(NSAttributedString::initWithHTML(html));
}
BENCHMARK_CAPTURE(hostile, unclosed_div, "<div>")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(hostile, unclosed_bold, "<b>")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(hostile, open_attribute, "<a href=\"")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(hostile, references, "&lt;")->Unit(benchmark::kMillisecond);

// Two hundred articles of twenty kilobytes: what the queue does, and what is left for the main thread.
FeedKit::Feed longFeed()
{
    std::string article;
    while (article.size() < 20'000)
        article
            += "<p>A paragraph of some words, with <a href=\"https://example.org/\">a link</a> and more of them.</p>\n";
    auto feed = std::make_shared<FeedKit::RSSFeed>();
    feed->items.emplace();
    for (int k = 0; k < 200; ++k) {
        feed->items->push_back(std::make_shared<FeedKit::RSSFeedItem>());
        feed->items->back()->description = article;
    }
    return FeedKit::Feed::rss(feed);
}

void onTheQueue(benchmark::State& state)
{
    const auto feed = longFeed();
    for (auto _ : state)
        benchmark::DoNotOptimize(articleTexts(feed, 0));
}
BENCHMARK(onTheQueue)->Unit(benchmark::kMillisecond);

void onTheMainThread(benchmark::State& state)
{
    const auto feed = longFeed();
    const auto texts = articleTexts(feed, 0);
    for (auto _ : state)
        benchmark::DoNotOptimize(feedDictionary(*feed.rssFeed(), 0, texts));
}
BENCHMARK(onTheMainThread)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vitrel

BENCHMARK_MAIN();
