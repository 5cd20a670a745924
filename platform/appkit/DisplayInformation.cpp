#include "platform/appkit/DisplayInformation.h"

#include "base/MD5.h"

#include <algorithm>

namespace vitrel {

namespace {

// As a UUID made from a name has it (RFC 4122, version 3).
std::string uuidText(MD5Digest digest)
{
    digest[6] = (digest[6] & 0x0F) | 0x30;
    digest[8] = (digest[8] & 0x3F) | 0x80;
    std::string text;
    for (std::size_t k = 0; k < digest.size(); ++k) {
        if (k == 4 || k == 6 || k == 8 || k == 10)
            text += '-';
        for (const int half : {digest[k] >> 4, digest[k] & 15})
            text += "0123456789ABCDEF"[half];
    }
    return text;
}

} // namespace

void nameDisplay(DisplayInformation& information, std::string_view key)
{
    const MD5Digest digest = md5(bytesOf(key));
    std::uint32_t number = 0;
    for (std::size_t k = 0; k < 4; ++k)
        number = number << 8 | digest[k];
    information.number = std::max(number, 1u); // 0 is no display
    information.uuid = uuidText(digest);
}

} // namespace vitrel
