#include "FeedKit/FeedDataType.h"

#include <algorithm>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace FeedKit {

namespace {

constexpr std::size_t kMostBytes = 200;

bool isSignificant(UChar32 character)
{
    return (U_GET_GC_MASK(character) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK | U_GC_P_MASK | U_GC_S_MASK)) != 0;
}

} // namespace

std::optional<FeedDataType> makeFeedDataType(ByteView data)
{
    const auto length = static_cast<std::int32_t>(std::min(data.size(), kMostBytes));
    for (std::int32_t at = 0; at < length;) {
        UChar32 character = 0;
        U8_NEXT(data.data(), at, length, character);
        // Bytes that are no character, also those of one that the 200 bytes cut, stand for U+FFFD, a symbol.
        if (character < 0)
            return std::nullopt;
        if (!isSignificant(character))
            continue;
        if (character == '<')
            return FeedDataType::xml;
        if (character == '{')
            return FeedDataType::json;
        return std::nullopt;
    }
    return std::nullopt;
}

} // namespace FeedKit
