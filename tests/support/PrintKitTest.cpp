#include "support/PrintKit.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

template <class Print> std::string printed(Print print)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    print();
    return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
}

TEST(PrintKit, PrintsOneLineWithBlanksBetweenTheItems)
{
    EXPECT_EQ(printed([] { printApp("a", 1); }), " a 1\n");
    EXPECT_EQ(printed([] { printApp(); }), " \n");
    EXPECT_EQ(printed([] { printErrorAlways("x"); }), "\xE2\x9D\x8C x\n");
    EXPECT_EQ(printed([] { printApp(std::string("s"), 0.5, 2.0, true, Value(Array{1}), std::int64_t(-3)); }),
        " s 0.5 2 true (1) -3\n");
}

TEST(PrintKit, TheOthersShowNothing)
{
    EXPECT_EQ(printed([] {
        printLog("a", 1);
        printDate("a");
        printCheck("a");
        printGreen("a");
        printWarning("a");
        printWarningDebug("a");
        printError("a");
        printErrorDebug("a");
        printFunc("a");
        printLink("a");
        printLogL({"a"}, "file", "function", 1);
        printWarningL("a", "file", "function", 1);
        printErrorL("a", "file", 1);
    }),
        "");
}

} // namespace
} // namespace vitrel
