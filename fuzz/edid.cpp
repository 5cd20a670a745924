// What a monitor, or any client of the X server in its name, says of itself.
#include "platform/appkit/x11/Edid.h"

#include <cstdlib>
#include <numeric>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vitrel::Bytes bytes(data, data + size);
    vitrel::parseEdid(bytes);
    if (size < 128)
        return 0;
    // With its header and checksum put right, so that the rest is reached.
    const std::uint8_t header[] = {0, 255, 255, 255, 255, 255, 255, 0};
    std::copy(std::begin(header), std::end(header), bytes.begin());
    bytes[127] = 0;
    bytes[127] = std::uint8_t(-std::accumulate(bytes.begin(), bytes.begin() + 128, 0u));
    const auto identity = vitrel::parseEdid(bytes);
    if (!identity || identity->name.size() > 13 || identity->serialText.size() > 13)
        std::abort();
    return 0;
}
