#include "FeedKit/dates/DateFormatters.h"
#include "FeedKit/dates/DateStrategies.h"
#include "FeedKit/dates/DateText.h"
#include "FeedKit/dates/LenientDate.h"
#include "FeedKit/dates/QuickReader.h"
#include "support/PlainDates.h"

#include <gtest/gtest.h>
#include <set>
#include <thread>

namespace FeedKit {
namespace {

using Seconds = std::optional<double>;

Seconds secondsOf(const std::optional<Date>& date)
{
    return date ? Seconds(date->secondsSince1970) : std::nullopt;
}

using Case = std::tuple<const char*, Seconds, const char*>; // the seconds are those of date -u -d

TEST(ToPermissiveDate, ReadsWhatFeedsWrite)
{
    const Case cases[] = {
        {"Mon, 02 Jan 2006 15:04:05 GMT", 1136214245, "the first pattern of RFC 822"},
        {"Mon, 02 Jan 2006 15:04 GMT", 1136214240, "the second: no seconds"},
        {"02 Jan 2006 15:04:05 +0000", 1136214245, "the third: no weekday"},
        {"2006-01-02 15:04:05 +0000", 1136214245, "the fourth: numbers"},
        {"Xyz, 02 Jan 2006 15:04:05 GMT", 1136214245, "a word that is no weekday goes"},
        {"02 Jan 2006 15:04:05 EST", 1136232245, "a backup pattern"},
        {"02 Jan 2006 15:04 GMT", 1136214240, "the other one"},
        {"2006-01-02T15:04:05Z", 1136214245, "RFC 3339"},
        {"2006-01-02T15:04:05.25+01:00", 1136210645.25, "with a fraction"},
        {"2006-01-02T15:04", 1136214240, "ISO 8601; GMT"},
        {"2006-01-02T15:37Z", 1136214180.7, "its minutes abut on a fraction: 15:03:00.7"},
        {"2006-01-02T15:00+01:00", 1136210400, "which whole hours survive"},
        {" \n\tMon, 02 Jan 2006 15:04:05 GMT\u00A0\r\n", 1136214245, "blanks around it"},
        {"Tue, 02 Jan 2006 15:04:05 GMT", 1136214245, "the weekday isn't checked against the date"},
        {"MON, 2 JAN 2006 15:04:05 gmt", 1136214245, "case doesn't matter"},
        {"Monday, 2 January 2006 15:04:05 UTC", 1136214245, "whole names"},
        {"Sun, 2 Jul 2006 15:04:05 EDT", 1151867045, "summer time"},
        {"Mon, 2 Jan 2006 15:04:05 EDT", 1136232245 - 3600, "in winter too"},
        {"2006-01-02T15:04:05.123456789Z", 1136214245.123, "beyond milliseconds the fraction is cut"},
        {"Tue, 29 Feb 2000 00:00:00 GMT", 951782400, "a leap day"},
        {"1969-12-31T23:59:59Z", -1, "before 1970"},
        {"2038-01-19T03:14:08Z", 2147483648, "beyond 32 bits"},
        {"9999-12-31T23:59:59Z", 253402300799, "four digits at most"},
        {"1500-02-29T00:00:00Z", -14825894400, "a leap day of the Julian calendar: 10 March of the Gregorian"},
        {"1582-10-15T00:00:00Z", -12219292800, "the reform"},
        {"Wed, 02 Jan 1850 15:04:05 EST", -3786667193, "zones of old are local times: 4:56:02 in New York"},
        {"\u0662\u0660\u0660\u0666-01-02T15:04:05Z", 1136214245, "digits of another script"},
    };
    for (const auto& [text, seconds, why] : cases)
        EXPECT_EQ(secondsOf(toPermissiveDate(text)), seconds) << '"' << text << "\": " << why;
}

TEST(ToLenientDate, ReadsWhatIsMeantForADate)
{
    const Case cases[] = {
        {"Mon, 02 Jan 06 15:04:05 GMT", 1136214245, "a year of two digits"},
        {"2 Jan 49", 2493158400, "below 50 of this century"},
        {"2 Jan 50", -631065600, "from 50 on of the last one"},
        {"2 Jan 106", 1136160000, "three digits count from 1900"},
        {"Mon 2 Jan 2006 15:04:05 GMT", 1136214245, "no comma"},
        {"Monday, 2nd of January 2006", {}, "no language is read"},
        {"Monday, 2nd January 2006 at 3:04 pm", 1136214240, "whole names, half days"},
        {"Jan 2, 2006 12:04 am", 1136160240, "midnight's hour"},
        {"Jan. 2, 2006, 12:04 PM", 1136203440, "noon's"},
        {"Mon Jan  2 15:04:05 2006", 1136214245, "asctime"},
        {"Mon Jan 2 15:04:05 CET 2006", 1136210645, "date"},
        {"2-Jan-06 15:04", 1136214240, "dashes"},
        {"2006-01-02", 1136160000, "a date alone"},
        {"2006-01", 1136073600, "a month alone"},
        {"2006/1/2 15:04:05", 1136214245, "slashes"},
        {"20060102T150405Z", 1136214245, "no marks"},
        {"2006-01-02t15:04:05z", 1136214245, "small letters"},
        {"2006-01-02T15:04:05,25+01:00", 1136210645.25, "a fraction behind a comma"},
        {"2006-01-02 15:04:05 +0100 (CET)", 1136210645, "a comment"},
        {"2006-01-02 15:04:05 -05", 1136232245, "hours alone"},
        {"2 Jan 2006 15:04:05 GMT+1", 1136210645, "counted from Greenwich"},
        {"2 Jan 2006 15:04:05 +0100 CET", 1136210645, "said twice"},
        {"2 Jan 2006 15:04:05 AEST", 1136214245 - 36000, "a zone far away"},
        {"2 Jan 2006 15:04:05 NST", 1136214245 + 12600, "and half an hour"},
        {"1 Jan 2006 24:00", 1136160000, "the day's end"},
        {"31 Dec 2005 23:59:60 GMT", 1136073600, "a leap second"},
        {"29 Feb 2004", 1078012800, "a leap day"},
        {"29 Feb 2006", {}, "and none"},
        {"1 Jan 2006 24:01", {}, "beyond the day"},
        {"1 Jan 2006 13:00 pm", {}, "no half day"},
        {"2 Jan 2006 15:04:05 XYZ", {}, "a zone that nobody knows"},
        {"02/01/2006", {}, "day or month first"},
        {"2006-13-01", {}, "no month"},
        {"0 Jan 2006", {}, "no day"},
        {"1136214245", {}, "seconds"},
        {"2 Jan 2006 15:04 16:04", {}, "two times"},
        {"2 Jan", {}, "no year"},
        {"soon", {}, "a word"},
        {"", {}, "nothing"},
    };
    for (const auto& [text, seconds, why] : cases)
        EXPECT_EQ(secondsOf(toLenientDate(text)), seconds) << '"' << text << "\": " << why;
    EXPECT_FALSE(toLenientDate("2 Jan 2006 " + std::string(100, ' ') + "15:04")) << "longer than any date";
}

TEST(ToPermissiveDate, RefusesWhatNoPatternTakesWhole)
{
    const std::pair<const char*, const char*> cases[] = {{"", "nothing"}, {" \n", "blanks"}, {"not a date", "words"},
        {"2006-01-02", "no pattern has a date alone"}, {"2006-01-02T15:04:05", "nor seconds without a zone"},
        {"Mon, 30 Feb 2006 15:04:05 GMT", "days don't run over"}, {"2006-13-01T15:04:05Z", "nor months"},
        {"2006-01-02T24:00:00Z", "nor hours"}, {"2006-01-02T15:04:60Z", "nor seconds: there are no leap seconds"},
        {"1900-02-29T00:00:00Z", "no leap year"}, {"Mon, 02 Jan 2006 15:04:05 CET", "a zone without an English name"},
        {"Mon, 02 Jan 2006 15:04:05 +0100 (CET)", "more text behind it"},
        {"Mon, 02 Sept 2006 15:04:05 GMT", "an abbreviation of four letters"},
        {"Mon 02 Jan 2006 15:04:05 GMT", "no comma"}, {"Mon02 Jan 2006 15:04:05 GMT", "nor a blank"},
        {"2006-01-02t15:04:05Z", "literals have a case"}, {"2006-01-02T15:04:05+24:00", "an offset of a day"},
        {"1 Feb 2004 00:00 +EST", "a sign before a name"}, {"1 Feb 2004 00:00 UTEST", "two names"},
        {"2006-01-02T15:04:05Z-08:00", "two zones"}, {"1582-10-15T15:04:05\xFF", "bytes that aren't UTF-8"},
        {"\xE2\x80(2000-02-06T15:04", "a cut character is no white space"}};
    for (const auto& [text, why] : cases)
        EXPECT_EQ(toPermissiveDate(text), std::nullopt) << '"' << text << "\": " << why;
}

// One list of patterns for all three formatters would pass every other test here.
TEST(Formatters, ReadTheirOwnPatternsAndNoOthers)
{
    const std::tuple<const char*, Seconds, Seconds, Seconds> cases[] = {
        {"Mon, 02 Jan 2006 15:04:05 GMT", 1136214245, {}, {}}, {"2 January 2006 15:04:05 GMT", 1136214245, {}, {}},
        {"2006-01-02 15:04:05 Z", 1136214245, {}, {}}, {"2006-01-02T15:04:05.5+0100", {}, 1136210645.5, 1136210645.5},
        {"2006-01-02T15:04:05 Z", {}, 1136214245, 1136214245}, {"2006-01-02T15:04:05-08:+0100", {}, 1136210645.08, {}},
        {"2006-01-02T15:0412Z", {}, {}, 1136214240.12}, {"2006-01-02T15:04", {}, {}, 1136214240}};
    for (const auto& [text, rfc822, rfc3339, iso8601] : cases) {
        EXPECT_EQ(secondsOf(RFC822DateFormatter().date(text)), rfc822) << text;
        EXPECT_EQ(secondsOf(RFC3339DateFormatter().date(text)), rfc3339) << text;
        EXPECT_EQ(secondsOf(ISO8601DateFormatter().date(text)), iso8601) << text;
    }
}

// Each that is left costs a reading by ICU, of which a hostile feed holds any number.
TEST(DateText, LeavesFewPatternsOpen)
{
    using P = Pattern;
    const std::pair<const char*, PatternSet> cases[] = {
        {"Monday, 2 January 2006 15:04:05 GMT", {P::weekdaySeconds}},
        {"Monday, 2 January 2006 15:04 GMT", {P::weekdayMinutes}},
        {"2 January 2006 15:04:05 GMT", {P::daySecondsOffset, P::daySecondsZone}},
        {"2 January 2006 15:04 GMT", {P::dayMinutesZone}},
        {"2006-1-2 15:04:05 GMT+1", {P::yearSecondsOffset, P::isoSeconds}}, // its T might be the one of ISO 8601
        {"2006-1-2 15:04:05 Z", {P::yearSecondsOffset}},
        {"2006-1-2T15:4:05Z", {P::yearSecondsOffset, P::isoSeconds}},
        {"2006-1-2T15:04:05.5Z", {P::yearSecondsOffset, P::isoSeconds, P::isoFraction}},
        {"2006-1-2T15:04:05-5:01", {P::yearSecondsOffset, P::isoSeconds, P::isoDashedFraction}},
        {"2006-1-2T15:04+01:00", {P::yearSecondsOffset, P::isoSeconds, P::isoMinutesFraction}},
        {"2006-1-2T15:04", {P::isoMinutesFraction, P::isoMinutes}},
        {"2006-1-2T15:04Z", {P::isoMinutesFraction}},
        {"(2 January 2006 15:04:05 GMT)", {}},
        {"Monday 2 January 2006 15:04:05 GMT", {}},
        {"2006-1-2T15", {}},
    };
    for (const auto& [text, open] : cases) {
        for (std::size_t k = 0; k < kPatterns.size(); ++k)
            EXPECT_EQ(DateText(text).candidates().has(P(k)), open.has(P(k))) << text << ": " << kPatterns[k];
    }
}

// What `form` makes with one thing changed: a character less, doubled, replaced, or something put before it.
std::vector<std::string> mutations(const std::string& form)
{
    std::vector<std::string> made{form};
    for (std::size_t at = 0; at <= form.size(); ++at) {
        for (const char* put :
            {" ", "\r", "0", "9", "-", "+", ":", ".", ",", "Z", "T", "x", "E1", "\u200E", "\u00A0", "\u0663"})
            made.push_back(form.substr(0, at) + put + form.substr(at));
        if (at == form.size())
            break;
        made.push_back(form.substr(0, at) + form.substr(at + 1));
        made.push_back(form.substr(0, at));
        for (const char with : {' ', '0', '1', '3', '6', '9', '-', '+', ':', 'Z', 'T', 'a', 'S'}) {
            made.push_back(form);
            made.back()[at] = with;
        }
    }
    return made;
}

// The quick reader and the striking out of patterns are our own: a slip there is a date that ICU reads otherwise.
TEST(Formatters, AgreeWithICUOnEveryMutationOfTheCommonForms)
{
    const PlainDates plain;
    std::set<std::string> texts;
    for (const char* form : {"Mon, 02 Jan 2006 15:04:05 GMT", "Fri, 9 Dec 2022 05:04 -0330", "31 Oct 1999 23:59:59 PDT",
             "1 Feb 2004 00:00 EST", "2006-01-02 15:04:05 +01:00", "2006-01-02T15:04:05Z",
             "2016-02-29T15:04:05.123-08:00", "2006-01-02T15:04:05.5+0530", "2006-01-02T15:04:05+01",
             "2006-01-02T15:04", "2006-01-02T15:0412Z", "2006-01-02T15:04Z", "2006-01-02T15:59+01:00",
             "2006-01-02T15:04:05-08:+0100", "Xyz, 02 Jan 2006 15:04:05 MST"})
        for (auto& text : mutations(form))
            texts.insert(std::move(text));
    int dates = 0, quick = 0;
    for (const auto& text : texts) {
        const auto expected = plain.permissive(text);
        ASSERT_EQ(toPermissiveDate(text), expected) << text;
        ASSERT_EQ(RFC822DateFormatter().date(text), plain.rfc822(text)) << text;
        ASSERT_EQ(RFC3339DateFormatter().date(text), plain.rfc3339(text)) << text;
        ASSERT_EQ(ISO8601DateFormatter().date(text), plain.iso8601(text)) << text;
        dates += expected.has_value();
        quick += readQuickly(text).has_value();
    }
    EXPECT_GT(dates, 1000);
    EXPECT_GT(quick, 300);
}

// Zones change with the season, calendars with the centuries: every 53rd hour of many years, by the quick reader alone.
TEST(QuickReader, AgreesWithICUThroughTheYears)
{
    const PlainDates plain;
    const char* const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const char* const zones[] = {"GMT", "EST", "CDT", "MST", "PDT", "EDT", "CST", "MDT", "PST", "UT", "-0930"};
    int count = 0, quick = 0;
    for (const int year : {1583, 1600, 1700, 1899, 1970, 1974, 1986, 2000, 2006, 2007, 2037, 2400, 9999}) {
        for (int hour = 0; hour < 12 * 31 * 24; hour += 53, ++count) {
            char text[64];
            std::snprintf(text, sizeof text, "%d %s %d %02d:30 %s", hour / 24 % 31 + 1, months[hour / 24 / 31], year,
                hour % 24, zones[count % std::size(zones)]);
            if (const auto read = readQuickly(text)) {
                ASSERT_EQ(std::optional(read->date), plain.permissive(text)) << text;
                ++quick;
            } else if (year >= 1970 && year <= 2037) {
                ASSERT_EQ(plain.permissive(text), std::nullopt) << text << " was left to ICU";
            }
        }
    }
    EXPECT_GT(quick, count / 2);
}

// ICU alone would die by a signal on the first, and take minutes over the others.
TEST(HostileDates, ComeBackSoonAndWithNoDate)
{
    const std::string million(1'000'000, '9');
    for (const std::size_t digits : {34u, 35u, 40u, 64u, 1000u}) {
        const std::string fraction(digits, '1');
        toPermissiveDate("2006-01-02T15:04:05." + fraction + "Z");
        toPermissiveDate("2006-01-02T15:04:05-" + fraction + ":Z");
        for (const char* exponent : {"E", "E-", "e+"})
            toPermissiveDate("2006-01-02T15:04:05.1" + (exponent + fraction) + "Z");
        toPermissiveDate("2006-01-02T15:04" + fraction + "Z");
        EXPECT_FALSE(decodingStrategy("2006-01-02T15:04:05." + fraction + "Z") && digits > 34);
    }
    const std::string hostile[] = {"Mon, " + million + million + million + million + " Jan 2006 15:04:05 GMT",
        million + "-01-02T15:04:05Z", "2006-01-02T15:04:05." + million + "Z", "2006-01-02T15:04:05Z" + million,
        std::string(1'000'000, ':'), "Mon, 02 Jan 2006 15:04:05 " + std::string(1'000'000, 'E'),
        std::string(1'000'000, 'a') + "1:2", std::string(500'000, '-') + ":" + std::string(500'000, '-')};
    for (const auto& text : hostile) {
        EXPECT_EQ(toPermissiveDate(text), std::nullopt) << text.substr(0, 40);
        EXPECT_FALSE(decodingStrategy(text)) << text.substr(0, 40);
    }
}

TEST(HostileDates, PaddingThatICUSkipsChangesNothing)
{
    const std::string zeros(100'000, '0'), blanks(100'000, ' '), tabs(100, '\t'), word(100'000, 'a');
    const std::string padded[] = {"Mon, " + zeros + "2 Jan 2006 15:04:05 GMT",
        "Mon, 02" + blanks + "Jan" + tabs + " 2006 15:04:05 GMT", zeros + "2006-01-02T15:" + blanks + zeros + "4:05Z",
        word + ", 02 Jan 2006 15:04:05 GMT", word + ", " + blanks + "02 Jan 2006 15:04:05 GMT"};
    for (const auto& text : padded)
        EXPECT_EQ(toPermissiveDate(text), Date{1136214245}) << text.substr(0, 20);
    EXPECT_EQ(toPermissiveDate("Xyz, 02 " + std::string(40, ' ') + "\tJan 2006 15:04:05 GMT"), std::nullopt)
        << "the rule of the leading word knows no tabs, however many blanks stand before them";
}

TEST(Formatters, ServeThreadsAtOnce)
{
    const auto read = [] {
        for (int k = 0; k < 200; ++k)
            ASSERT_EQ(toPermissiveDate("Monday, 2 January 2006 15:04:05 AKST"), Date{1136246645});
    };
    std::thread first(read), second(read);
    first.join();
    second.join();
}

// The machine's locale and zone, for as long as a test lasts.
struct MachineIs {
    MachineIs(const char* locale, const char* zone)
    {
        UErrorCode error = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale(locale), error);
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone(zone));
    }
    ~MachineIs()
    {
        UErrorCode error = U_ZERO_ERROR;
        icu::Locale::setDefault(locale_, error);
        icu::TimeZone::adoptDefault(zone_.release());
    }

private:
    icu::Locale locale_ = icu::Locale::getDefault();
    std::unique_ptr<icu::TimeZone> zone_{icu::TimeZone::createDefault()};
};

TEST(DecodingStrategy, ReadsTheThreePatternsAndSaysSoIfNoneFits)
{
    const Case cases[] = {{"2006-01-02T15:04:05Z", 1136214245, "the first"},
        {"2006-01-02T15:04:05.25+01:00", 1136210645.25, "the second"},
        {"2006-01-02T15:04:05-08:+0100", 1136210645.08, "the third"}, {"", {}, "an empty text"},
        {"2006-01-02T15:04:05Z\n", {}, "nothing is trimmed"}, {"Mon, 02 Jan 2006 15:04:05 GMT", {}, "another pattern"}};
    for (const auto& [text, seconds, why] : cases) {
        const auto date = decodingStrategy(text);
        EXPECT_EQ(date ? Seconds(date->secondsSince1970) : std::nullopt, seconds) << why;
        EXPECT_EQ(date ? "" : date.error().message, seconds ? "" : "Date decoding strategy failed.") << why;
    }
}

TEST(EncodingStrategy, WritesTheYearOfTheWeekInTheMachinesZone)
{
    const MachineIs american("en_US", "America/New_York");
    EXPECT_EQ(encodingStrategy(Date{1136214245}), "2006-01-02T10:04:05");
    // 31 December 2018 is a Monday: its week is the first of 2019.
    EXPECT_EQ(encodingStrategy(Date{1546214400 + 5 * 3600}), "2019-12-31T00:00:00");
    for (const double seconds : {0.0 / 0.0, 1e300, -1e300, 1.0 / 0.0})
        EXPECT_NE(encodingStrategy(Date{seconds}), "") << seconds;
}

// toPermissiveDate must not listen to what the strategies listen to.
TEST(Formatters, DontAskTheMachineForItsLocaleOrZone)
{
    const MachineIs arabic("ar_EG@calendar=islamic", "Africa/Cairo");
    std::thread anew([] { // with formatters that are made under this locale
        EXPECT_EQ(toPermissiveDate("Monday, 2 January 2006 15:04:05 GMT"), Date{1136214245});
        EXPECT_EQ(toPermissiveDate(" 2006-1-2T15:04"), toPermissiveDate("2006-1-2T15:04"));
        EXPECT_EQ(toPermissiveDate("2006-01-02T15:04"), Date{1136214240});
    });
    anew.join();
}

} // namespace
} // namespace FeedKit
