// What a JSON Feed document costs, beside simdjson alone: parsing, and a walk over every value of the document.
#include "FeedKit/json/JSONFeedParser.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <simdjson.h>
#include <string>

namespace FeedKit {
namespace {

namespace dom = simdjson::dom;

struct Walk {
    std::size_t texts = 0, bytes = 0, others = 0;

    void walk(dom::element element)
    {
        switch (element.type()) {
        case dom::element_type::OBJECT: {
            const dom::object object(element);
            for (const auto member : object) {
                bytes += member.key.size();
                walk(member.value);
            }
            break;
        }
        case dom::element_type::ARRAY: {
            const dom::array array(element);
            for (const auto each : array)
                walk(each);
            break;
        }
        case dom::element_type::STRING:
            ++texts;
            bytes += element.get_string().value_unsafe().size();
            break;
        default:
            ++others;
        }
    }
};

void ours(benchmark::State& state, const std::string& json)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(JSONFeedParser(FeedKit::bytesOf(json)).parse());
    state.SetBytesProcessed(std::int64_t(json.size()) * state.iterations());
}

// With a parser of its own for each document, as ours has.
void bareWalk(benchmark::State& state, const std::string& json)
{
    for (auto _ : state) {
        dom::parser parser;
        Walk walk;
        walk.walk(parser.parse(json).value_unsafe());
        benchmark::DoNotOptimize(walk);
    }
    state.SetBytesProcessed(std::int64_t(json.size()) * state.iterations());
}

void bareWalkKeptParser(benchmark::State& state, const std::string& json)
{
    dom::parser parser;
    for (auto _ : state) {
        Walk walk;
        walk.walk(parser.parse(json).value_unsafe());
        benchmark::DoNotOptimize(walk);
    }
    state.SetBytesProcessed(std::int64_t(json.size()) * state.iterations());
}

// A blog with texts like those of real ones, of about 2 MB.
std::string synthetic()
{
    std::string json = R"({"version": "https://jsonfeed.org/version/1", "title": "A blog", "items": [)";
    for (int k = 0; json.size() < 2'000'000; ++k) {
        const auto n = std::to_string(k);
        json += (k ? ", " : "") + (R"({"id": "https://example.com/)" + n) + R"(", "url": "https://example.com/)" + n
            + R"(", "title": "Article number )" + n
            + R"(", "date_published": "2018-02-03T10:20:30-05:00", "tags": ["one", )"
              R"("two"], "author": {"name": "Someone"}, "_extra": {"rank": )"
            + n + R"(}, "content_html": ")";
        for (int line = 0; line < 20; ++line)
            json += R"(<p>Some words with \"quotes\", a <a href=\"https://example.com/\">link</a> and \u00e9\n</p>)";
        json += R"("})";
    }
    return json + "]}";
}

// Whether both read as many bytes of the items' titles and bodies.
bool agrees(const std::string& json)
{
    const auto feed = JSONFeedParser(FeedKit::bytesOf(json)).parse();
    dom::parser parser;
    dom::array items;
    if (!feed || parser.parse(json)["items"].get(items))
        return false;
    std::size_t bytes = 0, theirs = 0;
    for (const auto& item : *feed->jsonFeed()->items)
        bytes += item.contentHtml.value_or("").size() + item.title.value_or("").size();
    for (const auto item : items) {
        for (const char* key : {"content_html", "title"})
            theirs += std::string_view(item[key].get_string().value_unsafe()).size();
    }
    return bytes == theirs && bytes > 0;
}

} // namespace
} // namespace FeedKit

int main(int argc, char** argv)
{
    using namespace FeedKit;
    benchmark::Initialize(&argc, argv);
    std::vector<std::pair<std::string, std::string>> documents{{"synthetic_2MB", synthetic()}};
    std::ifstream in(VITREL_SAMPLES "/feeds/jsonfeed-net/HyperCriticalBlog.json", std::ios::binary);
    if (in)
        documents.emplace_back("HyperCriticalBlog", std::string(std::istreambuf_iterator<char>(in), {}));
    for (const auto& [name, json] : documents) {
        if (!agrees(json)) {
            std::fprintf(stderr, "%s: the texts aren't the same\n", name.c_str());
            return 1;
        }
        benchmark::RegisterBenchmark((name + "/ours").c_str(), ours, json)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark((name + "/bare_walk").c_str(), bareWalk, json)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark((name + "/bare_walk_kept_parser").c_str(), bareWalkKeptParser, json)
            ->Unit(benchmark::kMicrosecond);
    }
    benchmark::RunSpecifiedBenchmarks();
}
