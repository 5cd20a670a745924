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
        EXPECT_EQ(decoded ? std::optional(std::string(textOf(*decoded))) : std::nullopt, bytes) << why;
        EXPECT_EQ(decoded ? encodeBase64(*decoded) : text, text) << why;
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
    EXPECT_EQ(shortestDecimal(0.1f), "0.1") << "and not the nearest double's 17 digits";
    const std::pair<double, const char*> cases[] = {{3.0, "3"}, {-0.0, "0"}, {0.1, "0.1"}, {1e21, "1e+21"},
        {773988893892888887296.0, "7.739888938928889e+20"}, {std::nan(""), "nan"}}; // the fifth overflows an integer
    for (const auto& [number, text] : cases)
        EXPECT_EQ(shortestDecimal(number), text);
}

// A text port takes what a player sends; what isn't UTF-8 must not reach the text engine.
TEST(RepairedUtf8, ReplacesWhatIsNotWellFormed)
{
    const std::tuple<const char*, const char*, const char*> cases[]
        = {{"grüß \U0001F3B5", "grüß \U0001F3B5", "well-formed"}, {"a\xFF!", "a\uFFFD!", "no such byte"},
            {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD", "a surrogate"}, {"\xC3", "\uFFFD", "cut off"},
            {"\xC0\xAF", "\uFFFD\uFFFD", "an overlong form"}};
    for (const auto& [text, repaired, why] : cases)
        EXPECT_EQ(repairedUtf8(text), repaired) << why;
}

TEST(PercentDecoded, KeepsWhatIsNoEscape)
{
    EXPECT_EQ(percentDecoded("a%20b%2Fc"), "a b/c");
    EXPECT_EQ(percentDecoded("100%"), "100%");
    EXPECT_EQ(percentDecoded("%zz%4"), "%zz%4");
}

} // namespace
} // namespace vitrel
