#include "platform/appkit/x11/Edid.h"

#include <gtest/gtest.h>

#include <numeric>

namespace vitrel {
namespace {

Bytes edid()
{
    Bytes bytes(128);
    const Bytes head = {0, 255, 255, 255, 255, 255, 255, 0, 0x10, 0xAC, 0x34, 0x12, 0x78, 0x56, 0x34, 0x12};
    std::copy(head.begin(), head.end(), bytes.begin());
    bytes[54] = 1; // a timing, whose fourth byte may look like a name
    bytes[57] = 0xFC;
    const std::string name = std::string("\0\0\0\xFC\0", 5) + "DELL U2720Q\n ",
                      serial = std::string("\0\0\0\xFF\0", 5) + "0123456789AB ";
    std::copy(name.begin(), name.end(), bytes.begin() + 72);
    std::copy(serial.begin(), serial.end(), bytes.begin() + 108);
    bytes[127] = std::uint8_t(-std::accumulate(bytes.begin(), bytes.end(), 0u));
    return bytes;
}

TEST(Edid, SaysWhoTheMonitorIs)
{
    const auto identity = parseEdid(edid());
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->vendor, 0x10ACu);
    EXPECT_EQ(identity->vendorLetters, "DEL");
    EXPECT_EQ(identity->model, 0x1234u);
    EXPECT_EQ(identity->serial, 0x12345678u);
    EXPECT_EQ(identity->name, "DELL U2720Q");
    EXPECT_EQ(identity->serialText, "0123456789AB");
}

TEST(Edid, WhatIsNoneIsAbsent)
{
    const Bytes good = edid();
    EXPECT_FALSE(parseEdid({}));
    EXPECT_FALSE(parseEdid(ByteView(good).first(127)));
    for (const std::size_t at : {0u, 1u, 60u, 127u}) {
        Bytes bad = good;
        bad[at] ^= 1;
        EXPECT_FALSE(parseEdid(bad)) << at;
    }
    Bytes longer = good;
    longer.resize(256, 0xAA);
    EXPECT_TRUE(parseEdid(longer)) << "what follows the first block doesn't matter";
}

} // namespace
} // namespace vitrel
