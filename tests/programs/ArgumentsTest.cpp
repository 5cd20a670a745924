#include "programs/vitrel/Arguments.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

using Words = std::vector<std::string>;

TEST(Arguments, PlayIsMeantWhereNoCommandStandsAndDaemonsAreUnderstood)
{
    const std::tuple<Words, Words, const char*> cases[] = {
        {{}, {"play"}, "nothing at all"},
        {{"a.qtz"}, {"play", "a.qtz"}, "a file"},
        {{"--demo", "--fps"}, {"play", "--demo", "--fps"}, "options"},
        {{"--version"}, {"--version"}, "of the program"},
        {{"-h"}, {"-h"}, "of the program"},
        {{"inspect", "-root"}, {"inspect", "-root"}, "other commands are left alone"},
        {{"-root"}, {"play", "--root"}, "of old daemons"},
        {{"play", "-root", "-window-id", "0x1f"}, {"play", "--root", "--window-id", "0x1f"}, "both at once"},
        {{"-window-id=7", "-visual", "x"}, {"play", "--window-id=7", "--visual", "x"}, "joined"},
        {{"-x", "-rooted", "-"}, {"play", "-x", "-rooted", "-"}, "others keep their dash"},
        {{"--", "-root"}, {"play", "--", "-root"}, "no options any more"},
        {{"--window"}, {"play", "--window=1280x720"}, "at the end"},
        {{"-window", "a.qtz"}, {"play", "--window=1280x720", "a.qtz"}, "a file is no size"},
        {{"--window", "640x480", "a.qtz"}, {"play", "--window=640x480", "a.qtz"}, "a size"},
        {{"--window", "9x"}, {"play", "--window=9x"}, "meant as one"},
        {{"--window=1x2"}, {"play", "--window=1x2"}, "joined"},
    };
    for (const auto& [given, mended, why] : cases)
        EXPECT_EQ(mendedArguments(given, {"play", "inspect"}), mended) << why;
}

TEST(Arguments, AWindowsNumberIsDecimalOrHexadecimal)
{
    const std::pair<const char*, unsigned long> cases[] = {{"0x60000E", 0x60000E}, {"0X1f", 31}, {"12", 12},
        {"012", 12}, {"", 0}, {"0x", 0}, {"12 ", 0}, {"-1", 0}, {"0x100000000", 0}, {"1f", 0}};
    for (const auto& [text, number] : cases)
        EXPECT_EQ(parseWindowNumber(text), number) << text;
}

} // namespace
} // namespace vitrel
