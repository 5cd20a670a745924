#include "programs/Program.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

// The toolkit ends in an abort behind a page of text where it finds no display.
TEST(ConfigureProgram, SaysInOneLineWhyItDoesNotStart)
{
    for (const char* platform : {"xcb", "wayland", "nonsense"}) {
        Program program({}, {{"QT_QPA_PLATFORM", platform}});
        EXPECT_EQ(program.wait(), 1) << platform;
        EXPECT_EQ(program.errors(), "vitrel: there is no display\n") << platform;
    }
    Program wrong({"--nonsense"});
    EXPECT_EQ(wrong.wait(), 2);
    EXPECT_THAT(wrong.errors(), testing::StartsWith("vitrel: "));
    EXPECT_EQ(Program({}, {{"VITREL_SYSTEM_VERSION", "new"}}).wait(), 2);
    Program help({"--help"});
    EXPECT_EQ(help.wait(), 0);
    EXPECT_THAT(help.output(), testing::HasSubstr("FILE"));
}

} // namespace
} // namespace vitrel
