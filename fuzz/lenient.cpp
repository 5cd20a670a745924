// A document read leniently. The first byte says what is forgiven: everything, nothing or one fault alone, and with its
// high bit that a server named an encoding, with the one below that more is kept.
#include "FeedKit/FeedDataType.h"
#include "FeedKit/FeedParser.h"
#include "FeedKit/LenientReading.h"
#include "FeedKit/xml/XMLFeedParser.h"

#include <algorithm>
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

Leniency leniencyOf(unsigned choice)
{
    if (choice < kForgivables)
        return Leniency::none().with(Forgivable(choice));
    return choice % 2 == 0 ? Leniency::all() : Leniency::none();
}

Result<Feed, ParserError> strictly(ByteView document, Extent extent)
{
    if (extent == Extent::more && makeFeedDataType(document) == FeedDataType::xml)
        return XMLFeedParser(document, {.extent = extent}).parse();
    return FeedParser(Bytes(document.begin(), document.end())).parse();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const auto leniency = leniencyOf(data[0] & 0x1F);
    const auto contentType = data[0] & 0x80 ? "text/xml; charset=windows-1251" : "";
    const ByteView document(data + 1, size - 1);
    const auto extent = data[0] & 0x40 ? Extent::more : Extent::model;
    const auto strict = strictly(document, extent);
    const auto lenient = readLeniently(document, leniency, extent, contentType);
    const auto again = readLeniently(document, leniency, extent, contentType);

    expect(lenient.has_value() == again.has_value() && (!lenient || *lenient == *again), "twice, and not the same");
    expect(!strict || lenient.has_value(), "refuses what the strict reading takes");
    if (!lenient) {
        expect(lenient.error() == strict.error(), "another error");
        return 0;
    }
    expect(!lenient->forgiven.empty() || (strict && lenient->feed == *strict), "forgave nothing, and differs");
    for (const auto& one : lenient->forgiven)
        expect(leniency.has(one.what) && one.count > 0 && !one.first.empty(), "forgave what it shouldn't");
    const bool isBroken = std::any_of(lenient->forgiven.begin(), lenient->forgiven.end(),
        [](const Forgiven& one) { return one.what == Forgivable::brokenOff; });
    expect(isBroken == lenient->brokeOff.has_value(), "broken off and not, at once");
    return 0;
}
