#include "support/DateKit.h"
#include "support/NumberKit.h"
#include "support/PrintKit.h"
#include "support/StringKit.h"

#include <gmock/gmock.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace vitrel {
namespace {

// 2026-11-16 22:05:09.123 UTC: `date -u -d '2026-11-16 22:05:09' +%s`.
constexpr Date kDate{1794866709.123};

// Sets what the user has chosen, for one test.
struct UsersLocale {
    explicit UsersLocale(const char* name) { setenv("LC_ALL", name, 1); }
    ~UsersLocale() { setenv("LC_ALL", "C.UTF-8", 1); }
};
struct LocalZone {
    explicit LocalZone(const char* name) { icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone(name)); }
    ~LocalZone() { icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("UTC")); }
};

TEST(DateKit, IdentifiersAreInUtcWhateverTheLocalZone)
{
    const LocalZone zone("Asia/Tokyo");
    const std::pair<std::string (*)(Date), const char*> cases[]
        = {{dateID, "20261116"}, {timeID, "220509"}, {timeMsID, "220509.123"}, {datetimeID, "20261116220509"},
            {date_timeID, "20261116_220509"}, {date_timeIDDashed, "20261116-220509"},
            {date_timeMsID, "20261116_220509.123"}, {date_timeMsIDDashed, "20261116-220509.123"},
            {dateIDDashed, "2026-11-16"}, {timeIDDotted, "22.05.09"}, {timeMsIDDotted, "22.05.09.123"},
            {dateTimeIDDashed, "2026-11-16 22.05.09"}, {dateTimeMsIDDashed, "2026-11-16 22.05.09.123"},
            {dateAtTimeIDDashed, "2026-11-16 at 22.05.09"}, {dateAtTimeMsIDDashed, "2026-11-16 at 22.05.09.123"},
            {dateFormattedYearTimeMiliSecondsID, "2026-11-16 22.05.09.123"}};
    for (const auto& [operation, text] : cases)
        EXPECT_EQ(operation(kDate), text);
}

TEST(DateKit, ReadableFormsAreEnglishAndInTheLocalZone)
{
    const LocalZone zone("Etc/GMT-2"); // two hours ahead, by the sign that this name has
    const UsersLocale locale("de_DE.UTF-8");
    EXPECT_EQ(formattedAsWeekdayAndFullDescription(kDate), "Tue, Nov 17, 2026 00:05");
    EXPECT_EQ(formattedAsWeekdayAndFullDescriptionDay(kDate), "Tue, Nov 17, 2026");
    EXPECT_EQ(formattedAsTime(kDate), "00:05");
    EXPECT_EQ(universalDatetimeFormatted(Date{1794864600}, "HH"), "21") << "23:30 on the clock on the wall";
}

// A date is binary seconds; a formatter that cuts it shows one millisecond too few for every fourth or so.
TEST(DateKit, MillisecondsHaveThreeDigitsAndYearsAllOfTheirs)
{
    for (int millisecond = 0; millisecond < 1000; millisecond += 7) {
        char expected[] = "09.000";
        std::snprintf(expected, sizeof expected, "09.%03d", millisecond);
        EXPECT_EQ(universalDatetimeFormatted(Date{1794866709 + millisecond / 1000.0}, "ss.SSS"), expected);
    }
    EXPECT_EQ(universalDatetimeFormatted(Date{-61'000'000'000}, "y"), "36") << "no zeros in front";
    EXPECT_EQ(universalDatetimeFormatted(Date{253'402'300'800}, "y"), "10000");
    EXPECT_EQ(universalDatetimeFormatted(Date{std::numeric_limits<double>::infinity()}, "y"), "") << "no date";
    EXPECT_EQ(universalDatetimeFormatted(Date{std::nan("")}, "y"), "");
    universalDatetimeFormatted(kDate, "'"); // no pattern, and no crash
}

TEST(DateKit, TheUsersCalendarAndDigitsAreFollowedAndReadBack)
{
    constexpr const char* format = "y-MM-dd HH.mm.ss.SSS";
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"de_DE.UTF-8", "2026-11-16 22.05.09.123", "Gregorian"},
        {"no such locale", "2026-11-16 22.05.09.123", "nonsense"},
        {"C", "2026-11-16 22.05.09.123", "none"},
        {"th_TH.UTF-8", "2569-11-16 22.05.09.123", "543 years on"},
        {"ar_EG.UTF-8", "٢٠٢٦-١١-١٦ ٢٢.٠٥.٠٩.١٢٣", "other digits"},
        {"fa_IR.UTF-8", "۱۴۰۵-۰۸-۲۵ ۲۲.۰۵.۰۹.۱۲۳", "the solar Hijri calendar: 25 Aban"},
    };
    for (const auto& [name, text, why] : cases) {
        const UsersLocale locale(name);
        EXPECT_EQ(universalDatetimeFormatted(kDate, format), text) << why;
        setenv("LC_ALL", "de_DE.UTF-8", 1); // who reads it lives elsewhere
        const auto read = datesFromUniversalDatetime(text, format);
        EXPECT_TRUE(std::any_of(read.begin(), read.end(), [](Date date) {
            return std::abs(date.secondsSince1970 - kDate.secondsSince1970) < 0.0005;
        })) << why;
    }
    for (const char* text :
        {"", "2026-11-16", "2026-11-16 22.05.09.123 ", "2026-13-16 22.05.09.123", "now", "02026-11-16 22.05.09.123"})
        EXPECT_THAT(datesFromUniversalDatetime(text, format), testing::IsEmpty()) << text;
    // ICU alone would die by a signal.
    EXPECT_THAT(datesFromUniversalDatetime("2026-11-16 22.05.09." + std::string(40, '2'), format), testing::IsEmpty());
}

constexpr double kDay = 86400;

TEST(DateKit, TimeAgoIsOneNumberAndAUnit)
{
    const std::tuple<double, const char*, const char*> cases[] = {{0, "0m", "just past"}, {29, "0m", "rounded down"},
        {31, "1m", "rounded up"}, {3599, "60m", "not yet an hour"}, {3600, "1h", "an hour"},
        {23.6 * 3600, "24h", "not yet a day"}, {kDay, "1d", "a day"}, {6.6 * kDay, "7d", "days are rounded"},
        {7 * kDay, "1w", "a week"}, {13.9 * kDay, "1w", "weeks are cut"}, {27.9 * kDay, "3w", "not yet 28 days"},
        {28 * kDay, "1mo", "28 days are a month"}, {30 * kDay, "1mo", "a month"},
        {46 * kDay, "2mo", "months are rounded"}, {364 * kDay, "12mo", "not yet a year"}, {365 * kDay, "1y", "a year"},
        {600 * kDay, "2y", "years are rounded"}, {-90, "-2m", "the future"}};
    for (const auto& [age, text, why] : cases)
        EXPECT_EQ(timeAgo(Date{1e9}, Date{1e9 + age}), text) << why;
}

TEST(DateKit, HoursDaysAgoCutsAndKnowsALimit)
{
    const std::tuple<double, std::int64_t, std::optional<std::string>> cases[]
        = {{3 * kDay, 2, std::nullopt}, {2 * kDay, 2, "2d ago"}, {2 * kDay + 1, 2, std::nullopt},
            {1.9 * kDay, 2, "1d ago"}, {kDay - 1, 2, "23h ago"}, {kDay - 1, 0, std::nullopt}, {3600, 2, "1h ago"},
            {3599, 2, "59m ago"}, {120, 2, "2m ago"}, {119, 2, "Just Now"}, {-5, 2, "Just Now"}};
    for (const auto& [age, limit, text] : cases)
        EXPECT_EQ(hoursDaysAgo(Date{1e9}, limit, Date{1e9 + age}), text) << age << " s";
}

// In a zone where the calendar's day is another than in UTC. kDate is there Tuesday the 17th, 07:05.
TEST(DateKit, SaysDaysAsTheCalendarOfThePlaceHasThem)
{
    const LocalZone zone("Asia/Tokyo");
    constexpr double hour = 3600, day = 24 * hour;
    const std::tuple<double, const char*, const char*, const char*> cases[] = {
        {60, "Today at 07:05", "Today, Just Now", "Just Now"},
        {-5 * hour, "Today at 07:05", "Today at 07:05", "Today at 07:05"}, // still to come
        {16 * hour, "Today at 07:05", "Today, 16h ago", "16h ago"}, // 23:05
        {17 * hour, "Yesterday at 07:05", "Yesterday at 07:05", "17h ago"}, // 00:05
        {-8 * hour, "Tue, Nov 17,  07:05", "Tue, Nov 17,  07:05", "Tue, Nov 17,  07:05"}, // tomorrow
        {6 * day, "Tue, Nov 17,  07:05", "Tue, Nov 17,  07:05", "6d ago"},
        {8 * day, "Tue, Nov 17,  07:05", "Tue, Nov 17,  07:05", "Tue, Nov 17,  07:05"},
        {60 * day, "Tue, Nov 17, 2026  07:05", "Tue, Nov 17, 2026  07:05", "Tue, Nov 17, 2026  07:05"},
    };
    for (const auto& [later, dayAndTime, relativeDayAndTime, relativeDay] : cases) {
        const Date now{kDate.secondsSince1970 + later};
        EXPECT_EQ(descriptionForDayAndTime(kDate, now), dayAndTime) << later;
        EXPECT_EQ(descriptionForRelativeDayAndTime(kDate, now), relativeDayAndTime) << later;
        EXPECT_EQ(descriptionForRelativeDay(kDate, now), relativeDay) << later;
    }
    EXPECT_EQ(descriptionForDayAndTime(Date{std::nan("")}, kDate), "");
}

TEST(NumberKit, FollowsTheUsersLocale)
{
    const std::tuple<const char*, double, int, const char*, const char*> cases[]
        = {{"en_US.UTF-8", 1.5, 3, "1.500", "1.500"}, {"de_DE.UTF-8", 1.5, 3, "1,500", "1,500"},
            {"en_US.UTF-8", 0.4, 0, "0", "0"}, {"en_US.UTF-8", 2.0, 1, "2.0", "2"},
            {"en_US.UTF-8", 2.5, 1, "2.5", "2.5"}, {"en_US.UTF-8", 1234.0, 1, "1234.0", "1,234"},
            {"de_DE.UTF-8", 1234.0, 1, "1234,0", "1.234"}, {"en_US.UTF-8", 1234.5, 1, "1234.5", "1234.5"},
            {"en_US.UTF-8", 2.04, 1, "2.0", "2"}, {"en_US.UTF-8", -0.5, -3, "-0", "-0"}};
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
    }),
        "");
}

std::string hex(const MD5Digest& digest)
{
    std::string out;
    for (const auto byte : digest)
        out += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    return out;
}

// The suite of RFC 1321, appendix A.5, and texts around the lengths at which the padding needs one more block; those
// by `head -c N /dev/zero | tr '\0' a | openssl dgst -md5`.
TEST(HashMD5Data, IsTheDigestOfTheStandard)
{
    const std::string digits = "1234567890";
    const std::pair<std::string, const char*> cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {digits + digits + digits + digits + digits + digits + digits + digits, "57edf4a22be3c955ac49da2e2107b67a"},
        {std::string(55, 'a'), "ef1772b6dff9a122358552954ad0df65"},
        {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218"},
        {std::string(63, 'a'), "b06521f39153d618550606be297466d5"},
        {std::string(64, 'a'), "014842d480b571495a4a0363793f7367"},
        {std::string(119, 'a'), "8a7bd0732ed6a28ce75f6dabc90e1613"},
        {std::string(120, 'a'), "5f61c0ccad4cac44c75ff505e1f1e537"},
        {std::string(1'000'000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"},
    };
    for (const auto& [text, digest] : cases)
        EXPECT_EQ(hex(hashMD5Data(text)), digest) << text.size() << " bytes";
}

} // namespace
} // namespace vitrel
