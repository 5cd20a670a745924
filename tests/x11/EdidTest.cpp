#include "platform/appkit/x11/Edid.h"

#include "platform/appkit/x11/X11Screens.h"

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

TEST(Edid, SaysWhoTheMonitorIsOrNothing)
{
    const auto identity = parseEdid(edid());
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->vendor, 0x10ACu);
    EXPECT_EQ(identity->vendorLetters, "DEL");
    EXPECT_EQ(identity->model, 0x1234u);
    EXPECT_EQ(identity->serial, 0x12345678u);
    EXPECT_EQ(identity->name, "DELL U2720Q");
    EXPECT_EQ(identity->serialText, "0123456789AB");

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

X11Monitor monitor(const std::string& connector, std::uint32_t serial, bool hasIdentity = true)
{
    X11Monitor made;
    made.name = made.connector = connector;
    if (hasIdentity)
        made.identity = DisplayIdentity{0x10AC, 7, serial, "DEL", "DELL U2720Q", ""};
    return made;
}

std::vector<std::uint32_t> numbers(std::vector<X11Monitor> monitors)
{
    identifyMonitors(monitors);
    std::vector<std::uint32_t> out;
    for (const auto& monitor : monitors) {
        EXPECT_EQ(
            monitor.screen.deviceDescription.at("NSScreenNumber"), Value(std::int64_t(monitor.information.number)));
        out.push_back(monitor.information.number);
    }
    return out;
}

// A companion, and a user's settings, know a display by its number.
TEST(DisplayNumbers, AreTheSameWhereverAndBesideWhateverAMonitorIsPluggedIn)
{
    const auto first = numbers({monitor("DP-1", 5), monitor("HDMI-1", 0, false)});
    EXPECT_NE(first[0], first[1]);
    EXPECT_EQ(numbers({monitor("HDMI-1", 0, false), monitor("DP-2", 5)}), (std::vector{first[1], first[0]}));
    EXPECT_NE(numbers({monitor("DP-1", 6)})[0], first[0]) << "another of the same model";
    EXPECT_NE(numbers({monitor("HDMI-2", 0, false)})[0], first[1]);
}

// Cheap monitors have no serial, and some of one make all the same.
TEST(DisplayNumbers, TellMonitorsApartThatSayTheSame)
{
    for (const std::uint32_t serial : {0u, 5u}) {
        const auto two = numbers({monitor("DP-1", serial), monitor("DP-2", serial)});
        EXPECT_NE(two[0], two[1]);
        EXPECT_EQ(numbers({monitor("DP-2", serial), monitor("DP-1", serial)}), (std::vector{two[1], two[0]}));
    }
}

TEST(DisplayNumbers, ComeWithAUuidAndWhatTheMonitorSays)
{
    std::vector<X11Monitor> monitors{monitor("DP-1", 5), monitor("HDMI-1", 0, false)};
    identifyMonitors(monitors);
    const auto& information = monitors[0].information;
    ASSERT_EQ(information.uuid.size(), 36u);
    EXPECT_EQ(information.uuid.find_first_not_of("0123456789ABCDEF-"), std::string::npos);
    EXPECT_EQ(information.uuid[14], '3');
    EXPECT_EQ(information.info,
        Value(Dictionary{{"DisplayVendorID", 0x10AC}, {"DisplayProductID", 7}, {"DisplaySerialNumber", 5},
            {"DisplayProductName", Dictionary{{"en_US", "DELL U2720Q"}}}}));
    EXPECT_EQ(monitors[0].screen.localizedName, "DELL U2720Q");
    EXPECT_EQ(monitors[1].screen.localizedName, "HDMI-1");
    EXPECT_TRUE(monitors[1].information.info.isNothing());
}

} // namespace
} // namespace vitrel
