#include "FeedKit/dates/QuickReader.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>

namespace FeedKit {

namespace {

// From the first whole year of the Gregorian calendar on.
constexpr int kFirstYear = 1583;
// In these years the American zones had the same offsets throughout; before, a name can mean a local time of its own.
constexpr int kFirstYearOfZones = 1970;
constexpr int kLastYearOfZones = 2037;

// Days from 1970-01-01 to a day of the Gregorian calendar. Years begin in March here, so that the leap day is the last.
constexpr std::int64_t daysSince1970(int year, int month, int day)
{
    const int y = month > 2 ? year : year - 1;
    const int dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    return std::int64_t{365} * y + y / 4 - y / 100 + y / 400 + dayOfYear - 719468;
}
static_assert(daysSince1970(1970, 1, 1) == 0 && daysSince1970(2000, 3, 1) == 11017);

constexpr int daysInMonth(int year, int month)
{
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return days[month - 1] + (month == 2 && leap);
}

// Walks over the text. Every step says whether it fitted; after one that didn't, nothing counts any more.
class Walk
{
public:
    explicit Walk(std::string_view text)
        : text_(text)
    { }

    std::size_t left() const { return text_.size() - at_; }
    char next(std::size_t ahead = 0) const { return left() > ahead ? text_[at_ + ahead] : '\0'; }
    bool ended() const { return left() == 0; }
    std::string_view rest() const { return text_.substr(at_); }
    bool take(char c)
    {
        if (next() != c)
            return false;
        ++at_;
        return true;
    }
    bool take(std::string_view word)
    {
        if (text_.substr(at_, word.size()) != word)
            return false;
        at_ += word.size();
        return true;
    }
    bool digitAhead(std::size_t ahead = 0) const { return next(ahead) >= '0' && next(ahead) <= '9'; }
    // Exactly so many digits; more may follow.
    bool number(int digits, int& value)
    {
        value = 0;
        for (int k = 0; k < digits; ++k, ++at_) {
            if (!digitAhead())
                return false;
            value = value * 10 + (text_[at_] - '0');
        }
        return true;
    }
    // Three letters, in lower case, or nothing.
    std::string threeLetters()
    {
        std::string name(text_.substr(at_, 3));
        for (char& letter : name)
            letter = static_cast<char>(letter | 0x20);
        if (name.size() < 3 || !std::all_of(name.begin(), name.end(), [](char c) { return c >= 'a' && c <= 'z'; }))
            return {};
        at_ += 3;
        return name;
    }

private:
    std::string_view text_;
    std::size_t at_ = 0;
};

struct Fields {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, millisecond = 0;
    int offset = 0; // of the zone, in seconds

    bool inRange() const
    {
        return year >= kFirstYear && month >= 1 && month <= 12 && day >= 1 && day <= daysInMonth(year, month)
            && hour <= 23 && minute <= 59 && second <= 59;
    }
    Date date() const
    {
        const auto days = daysSince1970(year, month, day);
        const std::int64_t seconds = days * 86400 + hour * 3600 + minute * 60 + second - offset;
        return Date{static_cast<double>(seconds * 1000 + millisecond) / 1000};
    }
};

// 1 to 12, or 0.
int monthNamed(std::string_view name)
{
    constexpr std::string_view months[]
        = {"jan", "feb", "mar", "apr", "may", "jun", "jul", "aug", "sep", "oct", "nov", "dec"};
    const auto month = std::find(std::begin(months), std::end(months), name);
    return month == std::end(months) ? 0 : static_cast<int>(month - std::begin(months)) + 1;
}

// The zones stand at the end of the text and take all that is left of it, or nothing.

// +hhmm, +hh:mm or, for `hoursAlone`, +hh.
bool takeOffset(Walk walk, Fields& fields, bool hoursAlone)
{
    const bool west = walk.next() == '-';
    int hours = 0, minutes = 0;
    if (!(walk.take('-') || walk.take('+')) || !walk.number(2, hours))
        return false;
    if (!(walk.ended() && hoursAlone)) {
        walk.take(':');
        if (!walk.number(2, minutes))
            return false;
    }
    fields.offset = (west ? -1 : 1) * (hours * 3600 + minutes * 60);
    return walk.ended() && hours <= 23 && minutes <= 59;
}

bool isGreenwich(std::string_view zone)
{
    return zone == "GMT" || zone == "UTC" || zone == "UT" || zone == "Z";
}

// EST, EDT and so on. A summer name holds in winter too.
bool takeAmericanZone(Walk walk, Fields& fields)
{
    struct {
        std::string_view name;
        int hours;
    } constexpr zones[]
        = {{"EST", -5}, {"EDT", -4}, {"CST", -6}, {"CDT", -5}, {"MST", -7}, {"MDT", -6}, {"PST", -8}, {"PDT", -7}};
    if (fields.year < kFirstYearOfZones || fields.year > kLastYearOfZones)
        return false;
    for (const auto& zone : zones) {
        if (walk.rest() == zone.name) {
            fields.offset = zone.hours * 3600;
            return true;
        }
    }
    return false;
}

bool takeDayAndTime(Walk& walk, Fields& fields, bool weekday)
{
    // Any word will do: one that is no weekday goes, and what is behind it reads the same.
    if (weekday && (walk.threeLetters().empty() || !walk.take(", ")))
        return false;
    if (!walk.number(walk.digitAhead(1) ? 2 : 1, fields.day) || !walk.take(' '))
        return false;
    fields.month = monthNamed(walk.threeLetters());
    return walk.take(' ') && walk.number(4, fields.year) && walk.take(' ') && walk.number(2, fields.hour)
        && walk.take(':') && walk.number(2, fields.minute) && (!walk.take(':') || walk.number(2, fields.second))
        && walk.take(' ');
}

std::optional<QuickDate> readFromDay(Walk walk, bool weekday)
{
    Fields fields;
    if (!takeDayAndTime(walk, fields, weekday) || !fields.inRange())
        return std::nullopt;
    if (!isGreenwich(walk.rest()) && !takeOffset(walk, fields, false) && !takeAmericanZone(walk, fields))
        return std::nullopt;
    return QuickDate{fields.date(), Readers::rfc822};
}

// One to nine digits; what is beyond milliseconds is cut off.
bool takeFraction(Walk& walk, Fields& fields)
{
    int digits = 0;
    while (walk.digitAhead(digits))
        ++digits;
    int value = 0;
    if (digits < 1 || digits > 9 || !walk.number(digits, value))
        return false;
    for (; digits < 3; ++digits)
        value *= 10;
    for (; digits > 3; --digits)
        value /= 10;
    fields.millisecond = value;
    return true;
}

// "T15:04Z", read by a pattern whose minutes abut on fractions of a second: they share the two digits.
std::optional<QuickDate> readWithoutSeconds(Walk walk, Fields fields)
{
    fields.millisecond = fields.minute % 10 * 100;
    fields.minute /= 10;
    if (!fields.inRange() || (walk.rest() != "Z" && !takeOffset(walk, fields, true)))
        return std::nullopt;
    return QuickDate{fields.date(), Readers::iso8601};
}

std::optional<QuickDate> readFromYear(Walk walk)
{
    Fields fields;
    if (!walk.number(4, fields.year) || !walk.take('-') || !walk.number(2, fields.month) || !walk.take('-')
        || !walk.number(2, fields.day))
        return std::nullopt;
    const bool withT = walk.take('T');
    if (!withT && !walk.take(' '))
        return std::nullopt;
    if (!walk.number(2, fields.hour) || !walk.take(':') || !walk.number(2, fields.minute))
        return std::nullopt;
    if (withT && walk.ended() && fields.inRange())
        return QuickDate{fields.date(), Readers::iso8601};
    if (withT && walk.next() != ':')
        return readWithoutSeconds(walk, fields);
    if (!walk.take(':') || !walk.number(2, fields.second) || !fields.inRange())
        return std::nullopt;
    if (!withT) {
        if (!walk.take(' ') || !(isGreenwich(walk.rest()) || takeOffset(walk, fields, false)))
            return std::nullopt;
        return QuickDate{fields.date(), Readers::rfc822};
    }
    if (walk.take('.') && !takeFraction(walk, fields))
        return std::nullopt;
    if (walk.rest() != "Z" && !takeOffset(walk, fields, true))
        return std::nullopt;
    return QuickDate{fields.date(), Readers::rfc3339 | Readers::iso8601};
}

} // namespace

std::optional<QuickDate> readQuickly(std::string_view text)
{
    const Walk walk(text);
    if (!walk.digitAhead())
        return readFromDay(walk, true);
    return walk.next(4) == '-' ? readFromYear(walk) : readFromDay(walk, false);
}

} // namespace FeedKit
