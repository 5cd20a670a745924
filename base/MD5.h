#pragma once

#include "base/Bytes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace vitrel {

using MD5Digest = std::array<std::uint8_t, 16>;

namespace detail {

// One block of RFC 1321, section 3.4. The sine table is written out: what the library's sine gives is no promise.
inline void md5Block(std::array<std::uint32_t, 4>& state, const std::uint8_t* block)
{
    constexpr std::uint32_t sines[64] = {0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a,
        0xa8304613, 0xfd469501, 0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e,
        0x49b40821, 0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
        0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a, 0xfffa3942,
        0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70, 0x289b7ec6, 0xeaa127fa,
        0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665, 0xf4292244, 0x432aff97, 0xab9423a7,
        0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1, 0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1,
        0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};
    constexpr int shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    std::uint32_t words[16];
    for (int k = 0; k < 16; ++k)
        words[k] = block[4 * k] | std::uint32_t(block[4 * k + 1]) << 8 | std::uint32_t(block[4 * k + 2]) << 16
            | std::uint32_t(block[4 * k + 3]) << 24;
    auto [a, b, c, d] = state;
    for (int k = 0; k < 64; ++k) {
        const int round = k / 16;
        const std::uint32_t mix = round == 0 ? (b & c) | (~b & d)
            : round == 1                     ? (b & d) | (c & ~d)
            : round == 2                     ? b ^ c ^ d
                                             : c ^ (b | ~d);
        const int word = round == 0 ? k : round == 1 ? (5 * k + 1) % 16 : round == 2 ? (3 * k + 5) % 16 : 7 * k % 16;
        const std::uint32_t turned = std::rotl(a + mix + words[word] + sines[k], shifts[round][k % 4]);
        a = d;
        d = c;
        c = b;
        b += turned;
    }
    state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
}

} // namespace detail

// The MD5 digest of `bytes` (RFC 1321). It identifies and seals against slips; it protects nothing. Our own, since a
// system may forbid the one of its cryptographic library.
inline MD5Digest md5(ByteView bytes)
{
    std::array<std::uint32_t, 4> state{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    const std::uint64_t bits = std::uint64_t(bytes.size()) * 8;
    for (; bytes.size() >= 64; bytes = bytes.subspan(64))
        detail::md5Block(state, bytes.data());
    std::array<std::uint8_t, 128> tail{};
    std::copy(bytes.begin(), bytes.end(), tail.begin());
    tail[bytes.size()] = 0x80;
    const std::size_t length = bytes.size() < 56 ? 64 : 128;
    for (std::size_t k = 0; k < 8; ++k)
        tail[length - 8 + k] = std::uint8_t(bits >> 8 * k);
    for (std::size_t at = 0; at < length; at += 64)
        detail::md5Block(state, tail.data() + at);
    MD5Digest digest;
    for (std::size_t k = 0; k < 16; ++k)
        digest[k] = std::uint8_t(state[k / 4] >> 8 * (k % 4));
    return digest;
}

} // namespace vitrel
