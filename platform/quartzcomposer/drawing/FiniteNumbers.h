#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <span>

namespace vitrel::qc {

// False if a number of a vertex, which is floats and nothing else, is infinite or none. By their bits, which compilers
// look at many of at once.
template <class Vertex> bool areFinite(std::span<const Vertex> vertices)
{
    using Numbers = std::array<std::uint32_t, sizeof(Vertex) / sizeof(float)>;
    std::uint32_t endless = 0;
    for (const Vertex& vertex : vertices) {
        for (const std::uint32_t bits : std::bit_cast<Numbers>(vertex))
            endless |= (bits & 0x7F800000u) + 0x00800000u; // carries into the sign where all of the exponent is set
    }
    return (endless & 0x80000000u) == 0;
}

} // namespace vitrel::qc
