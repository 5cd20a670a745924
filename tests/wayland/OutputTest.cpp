#include "platform/appkit/wayland/WaylandOutput.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

WaylandOutput output(
    const std::string& name, const std::string& make, const std::string& model, const std::string& description)
{
    WaylandOutput output;
    std::tie(output.name, output.make, output.model, output.description) = std::tie(name, make, model, description);
    return output;
}

// The companion answers for a display by its number, so it must be the same tomorrow, and no other's.
TEST(WaylandOutput, HasANumberThatIsItsDisplaysAlone)
{
    const auto dell = output("DP-1", "Dell Inc.", "DELL U2720Q", "Dell Inc. DELL U2720Q 5QRT1 (DP-1)");
    const std::tuple<WaylandOutput, bool, const char*> cases[] = {
        {dell, true, "the same again"},
        {output("DP-2", "Dell Inc.", "DELL U2720Q", "Dell Inc. DELL U2720Q 5QRT1 (DP-2)"), true, "another connector"},
        {output("DP-1", "Dell Inc.", "DELL U2720Q", "Dell Inc. DELL U2720Q 7XXX2 (DP-1)"), false, "another serial"},
        {output("DP-1", "Dell Inc.", "DELL U2719", "Dell Inc. DELL U2719 5QRT1 (DP-1)"), false, "another model"},
        {output("DP-1", "Dell Inc.", "DELL U2720Q", "Dell Inc. DELL U2720Q (DP-1)"), false, "no serial"},
        {output("DP-1", "", "", ""), false, "nothing but the connector"},
    };
    std::vector<WaylandOutput> one{dell};
    identifyOutputs(one);
    EXPECT_NE(one[0].information.number, 0u);
    for (const auto& [other, same, why] : cases) {
        std::vector<WaylandOutput> alone{other};
        identifyOutputs(alone);
        EXPECT_EQ(alone[0].information.number == one[0].information.number, same) << why;
        EXPECT_EQ(alone[0].information.uuid == one[0].information.uuid, same) << why;
        EXPECT_EQ(*alone[0].screen.deviceDescription.at("NSScreenNumber").as<std::int64_t>(),
            std::int64_t(alone[0].information.number))
            << why;
    }

    // Without a serial, or with that of another, the connector tells them apart.
    for (const char* serial : {"", " 5QRT1", " Unknown"}) {
        std::vector<WaylandOutput> two;
        for (const std::string name : {"DP-1", "DP-2"})
            two.push_back(output(name, "AOC", "Q27", "AOC Q27" + std::string(serial) + " (" + name + ")"));
        identifyOutputs(two);
        EXPECT_NE(two[0].information.number, two[1].information.number) << serial;
    }
}

TEST(WaylandOutput, SaysOfItsDisplayWhatIsKnown)
{
    const std::tuple<WaylandOutput, std::uint32_t, std::uint32_t, std::uint32_t, const char*> cases[] = {
        // A is 1, O 15, C 3: 1 << 10 | 15 << 5 | 3.
        {output("DP-1", "AOC", "0x2701", "AOC 0x2701 0x0000010A (DP-1)"), 1507, 0x2701, 0x10A, "AOC 0x2701"},
        {output("DP-1", "AOC", "0x2701", "AOC 0x2701 0x00000000 (DP-1)"), 1507, 0x2701, 0, "AOC 0x2701"},
        {output("DP-1", "Unknown", "Unknown", "Unknown Unknown Unknown (DP-1)"), 0, 0, 0, "DP-1"},
    };
    for (const auto& [given, vendor, model, serial, name] : cases) {
        std::vector<WaylandOutput> one{given};
        identifyOutputs(one);
        const auto& information = one[0].information;
        EXPECT_EQ(std::tie(information.vendor, information.model, information.serial), std::tie(vendor, model, serial))
            << given.description;
        EXPECT_EQ(one[0].screen.localizedName, name);
        EXPECT_EQ(information.info.dictionary() != nullptr, vendor != 0) << "nothing to ask of an unknown one";
    }
}

} // namespace
} // namespace vitrel
