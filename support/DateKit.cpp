#include "support/DateKit.h"

#include "support/CurrentLocale.h"

#include <unicode/calendar.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/uchar.h>

#include <charconv>
#include <cmath>

namespace vitrel {
namespace {

constexpr double kMinute = 60, kHour = 3600, kDay = 86400, kMonth = 2'592'000, kYear = 31'536'000;
constexpr std::int64_t kDaysOfAWeek = 7;

// Half a microsecond: a date's seconds are binary, and without it 0.123 could be told as 122 milliseconds.
constexpr double kBinaryError = 0.0005;

icu::UnicodeString unicode(std::string_view text)
{
    return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

// Null for a pattern that is none.
std::unique_ptr<icu::SimpleDateFormat> formatter(
    std::string_view format, const icu::Locale& locale, icu::TimeZone* zone)
{
    UErrorCode status = U_ZERO_ERROR;
    auto made = std::make_unique<icu::SimpleDateFormat>(unicode(format), locale, status);
    if (U_FAILURE(status)) {
        delete zone;
        return nullptr;
    }
    made->adoptTimeZone(zone);
    return made;
}

std::string formatted(Date date, const std::unique_ptr<icu::SimpleDateFormat>& formatter)
{
    std::string out;
    const double milliseconds = std::floor(date.secondsSince1970 * 1000 + kBinaryError);
    if (!formatter || !std::isfinite(milliseconds))
        return out;
    icu::UnicodeString text;
    formatter->format(UDate(milliseconds), text);
    return text.toUTF8String(out);
}

std::unique_ptr<icu::SimpleDateFormat> universalFormatter(std::string_view format)
{
    return formatter(format, currentLocale(LocaleCategory::Time), icu::TimeZone::createTimeZone("UTC"));
}

// Decimal digits of any script as those of ASCII.
icu::UnicodeString withPlainDigits(const icu::UnicodeString& text)
{
    icu::UnicodeString plain;
    for (std::int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
        const UChar32 character = text.char32At(at);
        const std::int32_t digit = u_charDigitValue(character);
        plain.append(digit < 0 ? character : static_cast<UChar32>('0' + digit));
    }
    return plain;
}

// As a whole number, rounded half away from zero; what no number of days has is 0.
std::string whole(double number)
{
    return std::to_string(std::fabs(number) < 1e15 ? std::llround(number) : 0);
}

// Midnights in the local zone from one to the other; absent for a date that no calendar has.
std::optional<std::int64_t> daysBetween(Date from, Date to)
{
    std::int64_t days[2];
    for (const int k : {0, 1}) {
        const std::string day = formattedUS(k == 0 ? from : to, "g"); // the modified Julian day
        const auto result = std::from_chars(day.data(), day.data() + day.size(), days[k]);
        if (result.ec != std::errc())
            return std::nullopt;
    }
    return days[1] - days[0];
}

} // namespace

std::string universalDatetimeFormatted(Date date, std::string_view format)
{
    return formatted(date, universalFormatter(format));
}

std::vector<Date> datesFromUniversalDatetime(std::string_view text, std::string_view format)
{
    std::vector<Date> dates;
    // ICU 72 divides by zero over a fraction of 35 digits. Four bytes make a character at most.
    constexpr std::size_t mostCharacters = 34;
    if (text.size() > 4 * mostCharacters)
        return dates;
    const icu::UnicodeString plain = withPlainDigits(unicode(text));
    if (plain.countChar32() > static_cast<std::int32_t>(mostCharacters))
        return dates;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::StringEnumeration> calendars(
        icu::Calendar::getKeywordValuesForLocale("calendar", icu::Locale::getRoot(), false, status));
    while (const char* calendar = U_SUCCESS(status) ? calendars->next(nullptr, status) : nullptr) {
        const icu::Locale locale(("en_US_POSIX@calendar=" + std::string(calendar)).c_str());
        const auto reader = formatter(format, locale, icu::TimeZone::createTimeZone("UTC"));
        if (!reader)
            continue;
        reader->setLenient(false);
        icu::ParsePosition position(0);
        const UDate milliseconds = reader->parse(plain, position);
        icu::UnicodeString again;
        if (position.getErrorIndex() < 0 && position.getIndex() == plain.length()
            && reader->format(milliseconds, again) == plain)
            dates.push_back({milliseconds / 1000});
    }
    return dates;
}

std::string dateID(Date date)
{
    return universalDatetimeFormatted(date, "yMMdd");
}

std::string timeID(Date date)
{
    return universalDatetimeFormatted(date, "HHmmss");
}

std::string timeMsID(Date date)
{
    return universalDatetimeFormatted(date, "HHmmss.SSS");
}

std::string datetimeID(Date date)
{
    return dateID(date) + timeID(date);
}

std::string date_timeID(Date date)
{
    return dateID(date) + "_" + timeID(date);
}

std::string date_timeIDDashed(Date date)
{
    return dateID(date) + "-" + timeID(date);
}

std::string date_timeMsID(Date date)
{
    return dateID(date) + "_" + timeMsID(date);
}

std::string date_timeMsIDDashed(Date date)
{
    return dateID(date) + "-" + timeMsID(date);
}

std::string dateIDDashed(Date date)
{
    return universalDatetimeFormatted(date, "y-MM-dd");
}

std::string timeIDDotted(Date date)
{
    return universalDatetimeFormatted(date, "HH.mm.ss");
}

std::string timeMsIDDotted(Date date)
{
    return universalDatetimeFormatted(date, "HH.mm.ss.SSS");
}

std::string dateTimeIDDashed(Date date)
{
    return dateIDDashed(date) + " " + timeIDDotted(date);
}

std::string dateTimeMsIDDashed(Date date)
{
    return dateIDDashed(date) + " " + timeMsIDDotted(date);
}

std::string dateAtTimeIDDashed(Date date)
{
    return dateIDDashed(date) + " at " + timeIDDotted(date);
}

std::string dateAtTimeMsIDDashed(Date date)
{
    return dateIDDashed(date) + " at " + timeMsIDDotted(date);
}

std::string dateFormattedYearTimeMiliSecondsID(Date date)
{
    return universalDatetimeFormatted(date, "y-MM-dd HH.mm.ss.SSS");
}

std::string formattedUS(Date date, std::string_view format)
{
    return formatted(date, formatter(format, icu::Locale::getUS(), icu::TimeZone::createDefault()));
}

std::string formattedAsWeekdayAndFullDescription(Date date)
{
    return formattedUS(date, "EEE, MMM d, yyyy HH:mm");
}

std::string formattedAsWeekdayAndFullDescriptionDay(Date date)
{
    return formattedUS(date, "EEE, MMM d, yyyy");
}

std::string formattedAsTime(Date date)
{
    return formattedUS(date, "HH:mm");
}

std::string timeAgo(Date date, Date now)
{
    const double age = now.secondsSince1970 - date.secondsSince1970, days = age / kDay;
    if (age / kYear >= 1)
        return whole(age / kYear) + "y";
    if (age / kMonth >= 1 || days >= 28)
        return whole(age / kMonth) + "mo";
    if (const double weeks = std::trunc(days / 7); weeks >= 1)
        return whole(weeks) + "w";
    if (days >= 1)
        return whole(days) + "d";
    if (age / kHour >= 1)
        return whole(age / kHour) + "h";
    return whole(age / kMinute) + "m";
}

std::optional<std::string> hoursDaysAgo(Date date, std::int64_t daysLimit, Date now)
{
    const double age = now.secondsSince1970 - date.secondsSince1970, days = age / kDay;
    if (days > static_cast<double>(daysLimit))
        return std::nullopt;
    if (days >= 1)
        return whole(std::trunc(days)) + "d ago";
    if (age / kHour >= 1)
        return whole(std::trunc(age / kHour)) + "h ago";
    if (const double minutes = std::trunc(age / kMinute); minutes >= 2)
        return whole(minutes) + "m ago";
    return "Just Now";
}

std::string descriptionForDayAndTime(Date date, Date now)
{
    const auto age = daysBetween(date, now);
    if (!age)
        return "";
    if (*age == 0)
        return "Today at " + formattedAsTime(date);
    if (*age == 1)
        return "Yesterday at " + formattedAsTime(date);
    const bool isSameYear = formattedUS(date, "y G") == formattedUS(now, "y G");
    return formattedUS(date, isSameYear ? "EEE, MMM d,  HH:mm" : "EEE, MMM d, y  HH:mm");
}

std::string descriptionForRelativeDayAndTime(Date date, Date now)
{
    const bool isOver = date.secondsSince1970 <= now.secondsSince1970;
    if (isOver && daysBetween(date, now) == 0) {
        // A day may have 25 hours.
        if (const auto ago = hoursDaysAgo(date, 2, now))
            return "Today, " + *ago;
    }
    return descriptionForDayAndTime(date, now);
}

std::string descriptionForRelativeDay(Date date, Date now)
{
    const bool isOver = date.secondsSince1970 <= now.secondsSince1970;
    const auto ago = isOver ? hoursDaysAgo(date, kDaysOfAWeek, now) : std::nullopt;
    return ago ? *ago : descriptionForDayAndTime(date, now);
}

} // namespace vitrel
