#include "FeedKit/conversions/Conversions.h"

#include <gtest/gtest.h>

namespace FeedKit {
namespace {

TEST(Trimmed, TakesUnicodeSpacesOffTheEndsAndNothingElse)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {" \t\r\n\v\fa b\n", "a b", "ASCII; blanks within stay"},
        {"\u00A0\u2003x\u3000\u2028\u0085", "x", "no-break, em and ideographic space, line separator, next line"},
        {"\u200Bx", "\u200Bx", "a zero width space is a format character"},
        {" \t ", "", "nothing but blanks"},
        {"\xE2\x80", "\xE2\x80", "a cut character at the very end"},
        {"\xE2\x80(x", "\xE2\x80(x", "a cut character before one that has the bits of its missing byte"},
        {"\u00E0", "\u00E0", "a letter whose last byte looks like a no-break space's"},
    };
    for (const auto& [text, left, why] : cases)
        EXPECT_EQ(trimmed(text), left) << why;
}

TEST(Numbers, TakeTheWholeTextOrNothing)
{
    const std::tuple<const char*, std::optional<std::int64_t>, std::optional<double>> cases[] = {{"60", 60, 60.0},
        {"-7", -7, -7.0}, {"+7", 7, 7.0}, {"+-7", {}, {}}, {"-+7", {}, {}}, {"", {}, {}}, {"-", {}, {}},
        {" 60", {}, {}}, {"60 ", {}, {}}, {"1.5", {}, 1.5}, {"-2.5e2", {}, -250.0}, {"0x10", {}, {}}, {"inf", {}, {}},
        {"nan", {}, {}}, {"1e999", {}, {}}, {"9223372036854775807", INT64_MAX, 9223372036854775808.0},
        {"9223372036854775808", {}, 9223372036854775808.0}, {"-9223372036854775808", INT64_MIN, -9223372036854775808.0},
        {"1,5", {}, {}}};
    for (const auto& [text, integer, real] : cases) {
        EXPECT_EQ(toInteger(text), integer) << '"' << text << '"';
        EXPECT_EQ(toDouble(text), real) << '"' << text << '"';
    }
}

TEST(ToBool, KnowsTenWordsExactly)
{
    for (const char* yes : {"True", "true", "Yes", "yes", "1"})
        EXPECT_EQ(toBool(yes), true) << yes;
    for (const char* no : {"False", "false", "No", "no", "0"})
        EXPECT_EQ(toBool(no), false) << no;
    for (const char* neither : {"TRUE", "YES", " true", "maybe", "", "2"})
        EXPECT_EQ(toBool(neither), std::nullopt) << neither;
}

TEST(ToDuration, ReadsPiecesFromTheRight)
{
    const std::tuple<const char*, std::optional<double>, const char*> cases[]
        = {{"90", 90, "seconds alone"}, {"1:30", 90, "minutes and seconds"}, {"01:02:03", 3723, "hours too"},
            {"1:0:0:0", 216000, "no limit of three pieces"}, {"-1:30", -30, "a sign belongs to its piece"},
            {" 5:00\n", 300, "blanks and newlines around it go"}, {"5: 00", std::nullopt, "blanks inside don't"},
            {"90.5", std::nullopt, "a decimal point makes no integer"},
            {"1::2", std::nullopt, "one empty piece fails the whole"}, {":", std::nullopt, "so do two"},
            {"", std::nullopt, "and one alone"}, {"9223372036854775808", std::nullopt, "beyond 64 bits"}};
    std::string zeros = "0";
    for (int piece = 0; piece < 300; ++piece)
        zeros += ":0";
    EXPECT_EQ(toDuration(zeros + ":7"), 7) << "60 to the 300th is no double; none of it is nothing all the same";
    EXPECT_EQ(toDuration("1:" + zeros), std::nullopt) << "one of it is no number";
    EXPECT_EQ(toDuration("-1:1:" + zeros), std::nullopt) << "nor is a difference of two";
    for (const auto& [text, seconds, why] : cases)
        EXPECT_EQ(toDuration(text), seconds) << '"' << text << "\": " << why;
}

} // namespace
} // namespace FeedKit
