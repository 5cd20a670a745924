// What decides on a document by its head, and the small texts that split into pieces.
#include "FeedKit/FeedDataType.h"
#include "FeedKit/conversions/Conversions.h"
#include "FeedKit/models/MediaNamespace.h"
#include "base/Text.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace FeedKit;
    const FeedKit::ByteView bytes(data, size);
    const auto type = makeFeedDataType(bytes);
    // The first byte that isn't a control character or a blank is the mark, unless something else came first.
    const auto first = std::find_if(data, data + size, [](std::uint8_t byte) { return byte > 0x20 && byte != 0x7F; });
    if (first != data + size && *first < 0x80) {
        const bool near = first - data < 200;
        const auto expected = !near ? std::nullopt
            : *first == '<'         ? std::optional(FeedDataType::xml)
            : *first == '{'         ? std::optional(FeedDataType::json)
                                    : std::nullopt;
        if (type != expected)
            std::abort();
    }

    const auto text = vitrel::repairedUtf8(FeedKit::textOf(bytes));
    const auto tags = MediaTag::tagsFrom(text);
    if (tags.size() != 1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), ',')))
        std::abort();
    for (const auto& tag : tags) {
        if (trimmed(*tag->tag) != *tag->tag || tag->tag->find(':') != std::string::npos)
            std::abort();
    }
    MediaLocation location;
    location.mapFrom(text);
    const auto duration = toDuration(text);
    if (duration != toDuration(" " + text + "\n"))
        std::abort();
    return 0;
}
