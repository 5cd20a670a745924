#include "base/Text.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

TEST(Base64, IsReadStrictly)
{
    const std::tuple<const char*, std::optional<std::string>, const char*> cases[]
        = {{"", "", "nothing is valid"}, {"Zg==", "f", "two pads"}, {"Zm8=", "fo", "one pad"},
            {"Zm9v", "foo", "no pad"}, {"Zm9vYmFy", "foobar", "two groups"},
            {"Zm9v\nYmFy", std::nullopt, "a line break"}, {"Zm9", std::nullopt, "a missing pad"},
            {"Zg==Zg==", std::nullopt, "a pad in the middle"}, {"Z===", std::nullopt, "three pads"},
            {"Zm9v ", std::nullopt, "a blank behind"}, {"Zm-_", std::nullopt, "the other alphabet"}};
    for (const auto& [text, bytes, why] : cases) {
        const auto decoded = decodeBase64(text);
        ASSERT_EQ(decoded.has_value(), bytes.has_value()) << why;
        if (bytes) {
            EXPECT_EQ(textOf(*decoded), *bytes) << why;
            EXPECT_EQ(encodeBase64(*decoded), text) << why;
        }
    }
}

TEST(LeadingNumber, TakesWhatStandsAtTheHeadAndNoWords)
{
    const std::pair<const char*, std::optional<double>> cases[] = {{"12abc", 12}, {"  -3.5e2 x", -350}, {"+7", 7},
        {".5", 0.5}, {"", {}}, {"x1", {}}, {"nan", {}}, {"inf", {}}, {"1e999", {}}};
    for (const auto& [text, number] : cases)
        EXPECT_EQ(leadingNumber(text), number) << text;
}

TEST(ShortestDecimal, ReadsBackAndHasNoPointOnWholeNumbers)
{
    EXPECT_EQ(shortestDecimal(3.0), "3");
    EXPECT_EQ(shortestDecimal(0.1f), "0.1") << "and not the nearest double's 17 digits";
    EXPECT_EQ(shortestDecimal(-0.0), "0");
    EXPECT_EQ(shortestDecimal(0.1), "0.1");
    EXPECT_EQ(shortestDecimal(1e21), "1e+21");
    EXPECT_EQ(shortestDecimal(773988893892888887296.0), "7.739888938928889e+20") << "no integer that overflows";
    EXPECT_EQ(shortestDecimal(std::nan("")), "nan");
}

// A text port takes what a player sends; what isn't UTF-8 must not reach the text engine.
TEST(RepairedUtf8, ReplacesWhatIsNotWellFormed)
{
    EXPECT_EQ(repairedUtf8("gr\xC3\xBC\xC3\x9F \xF0\x9F\x8E\xB5"), "gr\xC3\xBC\xC3\x9F \xF0\x9F\x8E\xB5");
    EXPECT_EQ(repairedUtf8("a\xFF"
                           "b"),
        "a\xEF\xBF\xBD"
        "b");
    EXPECT_EQ(repairedUtf8("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD") << "a surrogate";
    EXPECT_EQ(repairedUtf8("\xC3"), "\xEF\xBF\xBD") << "cut off";
    EXPECT_EQ(repairedUtf8("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD") << "an overlong form";
}

TEST(PercentDecoded, KeepsWhatIsNoEscape)
{
    EXPECT_EQ(percentDecoded("a%20b%2Fc"), "a b/c");
    EXPECT_EQ(percentDecoded("100%"), "100%");
    EXPECT_EQ(percentDecoded("%zz%4"), "%zz%4");
}

} // namespace
} // namespace vitrel
