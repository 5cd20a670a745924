#include "programs/Program.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

// The toolkit ends in an abort behind a page of text where it finds no display.
TEST(ConfigureProgram, SaysInOneLineThatThereIsNoDisplay)
{
    for (const char* platform : {"xcb", "wayland", "nonsense"}) {
        Program program({}, {{"QT_QPA_PLATFORM", platform}});
        EXPECT_EQ(program.wait(), 1) << platform;
        EXPECT_EQ(program.errors(), "vitrel: there is no display\n") << platform;
    }
}

TEST(ConfigureProgram, TellsWrongUseFromHelp)
{
    Program wrong({"--nonsense"});
    EXPECT_EQ(wrong.wait(), 2);
    EXPECT_THAT(wrong.errors(), testing::StartsWith("vitrel: "));
    Program help({"--help"});
    EXPECT_EQ(help.wait(), 0);
    EXPECT_THAT(help.output(), testing::HasSubstr("FILE"));
    Program version({}, {{"VITREL_SYSTEM_VERSION", "new"}});
    EXPECT_EQ(version.wait(), 2);
}

} // namespace
} // namespace vitrel
