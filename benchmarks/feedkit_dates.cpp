// What a date of a feed costs: ours, ICU with formatters that are kept, and ICU with formatters made for each date.
#include "FeedKit/dates/DateFormatters.h"
#include "support/PlainDates.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

namespace FeedKit {
namespace {

struct Sample {
    const char* name;
    std::string text;
};

const Sample samples[] = {
    {"rfc822_gmt", "Mon, 02 Jan 2006 15:04:05 GMT"},
    {"rfc822_offset", "Mon, 02 Jan 2006 15:04:05 +0100"},
    {"rfc822_zone", "Mon, 02 Jan 2006 15:04:05 EST"},
    {"rfc3339_z", "2006-01-02T15:04:05Z"},
    {"rfc3339_fraction", "2006-01-02T15:04:05.123+01:00"},
    {"whole_names", "Monday, 2 January 2006 15:04:05 GMT"}, // from here on nothing for the quick reader
    {"unknown_zone", "Mon, 02 Jan 2006 15:04:05 CEST"},
    {"no_zone", "2006-01-02T15:04:05"},
    {"unknown_month", "Mon, 02 Sept 2006 15:04:05 GMT"},
    {"date_alone", "2006-01-02"},
    {"words", "yesterday at 15:04:05, or so"},
    {"digits_1MB", std::string(1 << 20, '9') + ":"},
    {"zeros_1MB", std::string(1 << 20, '0') + "2 Jan 2006 15:04:05 GMT"},
};

void ours(benchmark::State& state, const std::string& text)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(toPermissiveDate(text));
}

void keptICU(benchmark::State& state, const std::string& text)
{
    static const PlainDates plain;
    for (auto _ : state)
        benchmark::DoNotOptimize(plain.permissive(text));
}

void newICU(benchmark::State& state, const std::string& text)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(PlainDates().permissive(text));
}

} // namespace
} // namespace FeedKit

int main(int argc, char** argv)
{
    using namespace FeedKit;
    benchmark::Initialize(&argc, argv);
    const PlainDates plain;
    for (const auto& [name, text] : samples) {
        const bool huge = text.size() > 1000; // ICU alone takes seconds over these
        if (!huge && toPermissiveDate(text) != plain.permissive(text)) {
            std::fprintf(stderr, "%s: not ICU's result\n", name);
            return 1;
        }
        const auto add = [&name = name, &text = text](const char* who, auto function) {
            benchmark::RegisterBenchmark((std::string(name) + "/" + who).c_str(), function, text);
        };
        add("ours", ours);
        if (!huge) {
            add("kept_icu", keptICU);
            add("new_icu", newICU);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
}
