#pragma once

#include "base/Bytes.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vitrel {

// Who a monitor says it is.
struct DisplayIdentity {
    std::uint32_t vendor = 0; // the three letters as the 16 bits that carry them
    std::uint32_t model = 0, serial = 0;
    std::string vendorLetters; // "DEL"
    std::string name, serialText;
};

// Reads the first block of an EDID, as VESA's standard 1.4 lays it out. Absent for what has not its header, length or
// checksum. Any thread.
std::optional<DisplayIdentity> parseEdid(ByteView edid);

} // namespace vitrel
