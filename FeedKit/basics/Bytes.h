#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace FeedKit {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

// The same bytes seen as the other; the view lasts as long as they do.
inline ByteView bytesOf(std::string_view text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
inline std::string_view textOf(ByteView bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace FeedKit
