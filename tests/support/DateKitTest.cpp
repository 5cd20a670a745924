#include "support/DateKit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
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

} // namespace
} // namespace vitrel
