#include "platform/appkit/x11/Edid.h"

#include <algorithm>
#include <numeric>

namespace vitrel {

namespace {

constexpr std::size_t kBlock = 128;
constexpr std::uint8_t kHeader[] = {0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};

// A text descriptor's 13 bytes: code page 437, of which only ASCII is sure, ended by a line feed, padded with blanks.
std::string descriptorText(ByteView bytes)
{
    std::string text;
    for (const auto byte : bytes) {
        if (byte == '\n')
            break;
        if (byte >= 0x20 && byte < 0x7F)
            text += char(byte);
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

} // namespace

std::optional<DisplayIdentity> parseEdid(ByteView edid)
{
    if (edid.size() < kBlock || !std::equal(std::begin(kHeader), std::end(kHeader), edid.begin()))
        return std::nullopt;
    if (std::accumulate(edid.begin(), edid.begin() + kBlock, 0u) % 256 != 0)
        return std::nullopt;
    DisplayIdentity identity;
    identity.vendor = std::uint32_t(edid[8]) << 8 | edid[9];
    for (const int shift : {10, 5, 0}) {
        const auto letter = identity.vendor >> shift & 31;
        identity.vendorLetters += letter >= 1 && letter <= 26 ? char('A' + letter - 1) : '?';
    }
    identity.model = edid[10] | std::uint32_t(edid[11]) << 8;
    for (std::size_t k = 0; k < 4; ++k)
        identity.serial |= std::uint32_t(edid[12 + k]) << 8 * k;
    for (const std::size_t at : {54u, 72u, 90u, 108u}) {
        if (edid[at] != 0 || edid[at + 1] != 0 || edid[at + 2] != 0)
            continue;
        if (edid[at + 3] == 0xFC)
            identity.name = descriptorText(edid.subspan(at + 5, 13));
        else if (edid[at + 3] == 0xFF)
            identity.serialText = descriptorText(edid.subspan(at + 5, 13));
    }
    return identity;
}

} // namespace vitrel
