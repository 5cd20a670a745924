#include "support/NumberKit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace vitrel {
namespace {

struct UsersLocale {
    explicit UsersLocale(const char* name) { setenv("LC_ALL", name, 1); }
    ~UsersLocale() { setenv("LC_ALL", "C.UTF-8", 1); }
};

TEST(NumberKit, FollowsTheUsersLocale)
{
    struct {
        const char* locale;
        double number;
        int decimals;
        const char *fixed, *withDecimals;
    } const cases[] = {{"en_US.UTF-8", 1.5, 3, "1.500", "1.500"}, {"de_DE.UTF-8", 1.5, 3, "1,500", "1,500"},
        {"en_US.UTF-8", 0.4, 0, "0", "0"}, {"en_US.UTF-8", 2.0, 1, "2.0", "2"}, {"en_US.UTF-8", 2.5, 1, "2.5", "2.5"},
        {"en_US.UTF-8", 1234.0, 1, "1234.0", "1,234"}, {"de_DE.UTF-8", 1234.0, 1, "1234,0", "1.234"},
        {"en_US.UTF-8", 1234.5, 1, "1234.5", "1234.5"}, {"en_US.UTF-8", 2.04, 1, "2.0", "2"},
        {"en_US.UTF-8", -0.5, -3, "-0", "-0"}};
    for (const auto& [name, number, decimals, fixed, withDecimals] : cases) {
        const UsersLocale locale(name);
        EXPECT_EQ(formatLocale(number, decimals), fixed) << name << " " << number;
        EXPECT_EQ(formatWithDecimals(number, decimals), withDecimals) << name << " " << number;
    }
}

TEST(NumberKit, TheDecimalStyleGroupsAndKeepsToItsBoundsAndTheLongestNumbersHaveRoom)
{
    const UsersLocale locale("en_US.UTF-8");
    EXPECT_EQ(formatCurrency(1234567.891, 2, 0), "1,234,567.89");
    EXPECT_EQ(formatCurrency(2, 2, 1), "2.0");
    EXPECT_EQ(formatCurrency(0.5, 0, 0), "0") << "half to even";
    EXPECT_EQ(formatCurrency(1.5, 0, 0), "2");
    EXPECT_EQ(formatLocale(-1.7976931348623157e308, 100000).size(), 1 + 309 + 1 + 1074u);
    EXPECT_EQ(formatLocale(std::nan(""), 2), "nan");
}

} // namespace
} // namespace vitrel
