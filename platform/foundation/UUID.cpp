#include "platform/foundation/UUID.h"

#include <array>
#include <cstdint>
#include <random>

#include <sys/random.h>

namespace vitrel {

std::string UUIDString()
{
    std::array<std::uint8_t, 16> bytes;
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        std::random_device device;
        for (auto& byte : bytes)
            byte = static_cast<std::uint8_t>(device());
    }
    bytes[6] = (bytes[6] & 0x0F) | 0x40;
    bytes[8] = (bytes[8] & 0x3F) | 0x80;
    std::string text;
    for (std::size_t k = 0; k < bytes.size(); ++k) {
        if (k == 4 || k == 6 || k == 8 || k == 10)
            text += '-';
        text += "0123456789ABCDEF"[bytes[k] >> 4];
        text += "0123456789ABCDEF"[bytes[k] & 15];
    }
    return text;
}

} // namespace vitrel
