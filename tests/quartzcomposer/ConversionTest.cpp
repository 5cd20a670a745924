#include "quartzcomposer/Play.h"

#include "platform/appkit/NSImage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vitrel::qc {

namespace {

ImageRef image()
{
    return std::make_shared<DrawnImage>(4, 2);
}
StructureRef list(std::vector<PortValue> values)
{
    auto structure = std::make_shared<Structure>();
    for (PortValue& value : values)
        structure->members.push_back({{}, std::move(value)});
    return structure;
}

} // namespace

// A connection between unlike ports: wrong rounding, a sign that wraps, a NaN that spreads, a text read as nothing.
TEST(Conversion, FollowsTheTable)
{
    const double nan = std::nan(""), inf = std::numeric_limits<double>::infinity();
    const std::tuple<PortValue, PortType, const char*> cases[] = {{true, PortType::Index, "1"},
        {true, PortType::Number, "1"}, {false, PortType::String, "'0'"}, {true, PortType::String, "'1'"},
        {std::uint32_t(2), PortType::Boolean, "true"}, {std::uint32_t(4294967295u), PortType::Number, "4.29497e+09"},
        {std::uint32_t(4294967295u), PortType::String, "'4294967295'"}, {0.25, PortType::Boolean, "true"},
        {-0.0, PortType::Boolean, "false"}, {2.999, PortType::Index, "2"}, {-1.5, PortType::Index, "0"},
        {nan, PortType::Index, "0"}, {inf, PortType::Index, "4294967295"},
        {4294967296.0, PortType::Index, "4294967295"}, {0.1, PortType::String, "'0.1'"}, {3.0, PortType::String, "'3'"},
        {0.5, PortType::Color, "rgba(0.5, 0.5, 0.5, 1)"}, {std::string(), PortType::Boolean, "false"},
        {std::string("0"), PortType::Boolean, "true"}, {std::string("12 apes"), PortType::Index, "12"},
        {std::string("apes"), PortType::Index, "0"}, {std::string(" -2.5e1x"), PortType::Number, "-25"},
        {std::string("nan"), PortType::Number, "0"}, {NSColor{1, 1, 1, 1}, PortType::Number, "1"},
        {NSColor{1, 0, 0, 1}, PortType::Image, "image everywhere"}, {2.5, PortType::Structure, "[2.5]"},
        {PortValue(), PortType::Structure, "null"}, {image(), PortType::Boolean, "true"},
        {ImageRef(), PortType::Boolean, "false"}, {image(), PortType::Number, "0"}, {image(), PortType::String, "''"},
        {list({1.0}), PortType::Boolean, "true"}, {list({1.0}), PortType::Image, "null"},
        {PortValue(), PortType::Boolean, "false"}, {PortValue(), PortType::Number, "0"},
        {PortValue(), PortType::Color, "rgba(0, 0, 0, 0)"}, {PortValue(), PortType::String, "''"},
        {std::string("as it is"), PortType::Virtual, "'as it is'"}};
    for (const auto& [from, to, result] : cases)
        EXPECT_EQ(shown(converted(from, to)), result) << shown(from) << " to " << nameOf(to);
}

// What a host writes arrives in the port's type; what can't be said changes nothing.
TEST(HostValues, AreCoercedToThePortsType)
{
    const auto picture
        = std::make_shared<const NSImage>(std::make_shared<const Bitmap>(Bitmap{2, 1, {0xFF000000u, 0xFF000000u}}));
    // result: null: refused
    const std::tuple<const char*, Value, const char*> cases[] = {
        {"QCBooleanPort", 2, "true"},
        {"QCBooleanPort", "", "false"},
        {"QCIndexPort", 3.9, "3"},
        {"QCIndexPort", -3, "0"},
        {"QCNumberPort", "12.5 km", "12.5"},
        {"QCNumberPort", true, "1"},
        {"QCStringPort", true, "'1'"},
        {"QCStringPort", false, "'0'"},
        {"QCStringPort", 0.1, "'0.1'"},
        {"QCStringPort", "Grüße", "'Grüße'"},
        {"QCStringPort", Value(picture), nullptr},
        {"QCColorPort", NSColor{1, 0.5, 0, 1}, "rgba(1, 0.5, 0, 1)"},
        {"QCColorPort", "red", nullptr},
        {"QCGLImagePort", Value(picture), "image 2x1"},
        {"QCGLImagePort", 1, nullptr},
        {"QCStructurePort", Array{1, "b"}, "[1, 'b']"},
        {"QCStructurePort", Dictionary{{"b", 1}, {"a", Array{}}}, "{a: [], b: 1}"},
        {"QCStructurePort", Dictionary{{"red", 1}, {"green", 1}, {"blue", 1}}, "{blue: 1, green: 1, red: 1}"},
        {"QCStructurePort", 5, nullptr},
        {"QCVirtualPort", 5, "5"},
        {"QCVirtualPort", "five", "'five'"},
    };
    for (const auto& [port, given, result] : cases) {
        Player player("{inputs: {in: 'p.input'}, outputs: {out: 'p.output'}, patches: {p: QCSplitter with {portClass: '"
            + std::string(port) + "'}}}");
        const std::string before = player.out();
        EXPECT_EQ(player.graph->setInput("in", given), result != nullptr) << port << " " << description(given);
        player.frame(0);
        EXPECT_EQ(player.out(), result ? result : before) << port << " " << description(given);
        EXPECT_TRUE(player.graph->setInput("in", Value())) << "nothing gives the type's zero";
        player.frame(1);
        EXPECT_EQ(player.out(), before) << port;
    }
    Player player(onePatch("QCTime", "outputTime"));
    EXPECT_FALSE(player.graph->setInput("in", 1)) << "no such input";
}

// A virtual port that is cleared: what is connected to it must not keep the old value.
TEST(Conversion, OfAVirtualSourceGoesByWhatItHoldsAtTheMoment)
{
    Player player(R"({inputs: {in: 'v.input'}, outputs: {out: 'n.output'}, patches: {
        v: QCSplitter with {portClass: 'QCVirtualPort'},
        n: QCSplitter with {portClass: 'QCNumberPort'}}, connections: ['v.output > n.input']})");
    const std::pair<Value, const char*> steps[]
        = {{2.5, "2.5"}, {"3 apes", "3"}, {Array{1}, "0"}, {true, "1"}, {Value(), "0"}};
    double time = 0;
    for (const auto& [given, result] : steps) {
        player.graph->setInput("in", given);
        player.frame(++time);
        EXPECT_EQ(player.out(), result) << description(given);
    }
}

} // namespace vitrel::qc
