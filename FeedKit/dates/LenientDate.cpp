#include "FeedKit/dates/LenientDate.h"

#include "FeedKit/conversions/Conversions.h"
#include "FeedKit/dates/DateFormatters.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string>

namespace FeedKit {

namespace {

// No date that somebody wrote comes near.
constexpr std::size_t kMostText = 100;
// 1000-01-01 in the calendar of then; a strict reading below it took a year of two or three digits at its word.
constexpr double kFirstYearOfFourDigits = -30609792000;

struct Zone {
    std::string_view name;
    int minutes; // east of Greenwich
};

// RFC 822, section 5.1, and the names that servers elsewhere write. Of those that several zones share (IST, BST, CST,
// AST) the most people's is meant, but for the Americas, which the standard has decided.
constexpr Zone kZones[] = {
    {"gmt", 0},
    {"utc", 0},
    {"ut", 0},
    {"z", 0},
    {"wet", 0},
    {"est", -300},
    {"edt", -240},
    {"cst", -360},
    {"cdt", -300},
    {"mst", -420},
    {"mdt", -360},
    {"pst", -480},
    {"pdt", -420},
    {"akst", -540},
    {"akdt", -480},
    {"hst", -600},
    {"ast", -240},
    {"adt", -180},
    {"nst", -210},
    {"ndt", -150},
    {"brt", -180},
    {"art", -180},
    {"west", 60},
    {"bst", 60},
    {"cet", 60},
    {"cest", 120},
    {"met", 60},
    {"mez", 60},
    {"mest", 120},
    {"mesz", 120},
    {"eet", 120},
    {"eest", 180},
    {"sast", 120},
    {"msk", 180},
    {"msd", 240},
    {"pkt", 300},
    {"ist", 330},
    {"wib", 420},
    {"ict", 420},
    {"hkt", 480},
    {"sgt", 480},
    {"awst", 480},
    {"jst", 540},
    {"kst", 540},
    {"acst", 570},
    {"acdt", 630},
    {"aest", 600},
    {"aedt", 660},
    {"nzst", 720},
    {"nzdt", 780},
};

constexpr std::string_view kMonths[] = {"january", "february", "march", "april", "may", "june", "july", "august",
    "september", "october", "november", "december"};
constexpr std::string_view kWeekdays[] = {"monday", "tuesday", "wednesday", "thursday", "friday", "saturday", "sunday"};

// Which of the names `word` is, or begins with three letters and more; -1 for none.
template <std::size_t n> int indexOf(const std::string_view (&names)[n], std::string_view word)
{
    if (word.size() < 3)
        return -1;
    const auto found
        = std::find_if(std::begin(names), std::end(names), [&](auto name) { return name.starts_with(word); });
    return found == std::end(names) ? -1 : static_cast<int>(found - std::begin(names));
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Takes a text piece by piece: words, numbers and the marks between them.
class LenientReader
{
public:
    explicit LenientReader(std::string_view lowerCase)
        : text_(lowerCase)
    { }

    std::optional<Date> read()
    {
        if (!(startsWithYear() ? takeYearMonthDay() : takeInWords()))
            return std::nullopt;
        while (at_ < text_.size()) {
            if (!takePiece())
                return std::nullopt;
        }
        return date();
    }

private:
    char next(std::size_t ahead = 0) const { return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0'; }
    bool take(char c)
    {
        const bool there = next() == c;
        at_ += there;
        return there;
    }
    std::size_t digitsAhead() const
    {
        std::size_t count = 0;
        while (isDigit(next(count)))
            ++count;
        return count;
    }
    int number(std::size_t digits)
    {
        int value = 0;
        for (; digits > 0; --digits)
            value = value * 10 + (text_[at_++] - '0');
        return value;
    }
    // One or two digits.
    bool shortNumber(int& value)
    {
        const auto digits = digitsAhead();
        if (digits < 1 || digits > 2)
            return false;
        value = number(digits);
        return true;
    }
    std::string_view word()
    {
        const auto from = at_;
        while (next() >= 'a' && next() <= 'z')
            ++at_;
        return text_.substr(from, at_ - from);
    }

    bool startsWithYear() const
    {
        const auto digits = digitsAhead();
        return digits == 8 || (digits == 4 && (next(4) == '-' || next(4) == '/' || next(4) == '.'));
    }
    // 2006-01-02, 2006/1/2, 2006.01.02, 20060102, 2006-01.
    bool takeYearMonthDay()
    {
        const bool packed = digitsAhead() == 8;
        year_ = number(4);
        if (packed) {
            month_ = number(2);
            day_ = number(2);
            return takeT();
        }
        const char mark = text_[at_++];
        if (!shortNumber(month_))
            return false;
        day_ = 1;
        return !take(mark) || (shortNumber(day_) && takeT());
    }
    // Without marks the time has four or six digits.
    bool takeT()
    {
        if (!take('t'))
            return true;
        const auto digits = digitsAhead();
        if (digits == 4 || digits == 6) {
            hour_ = number(2);
            minute_ = number(2);
            second_ = digits == 6 ? number(2) : 0;
            hasTime_ = true;
            return takeFraction();
        }
        return next(digits) == ':';
    }
    // "2 January 2006", "Jan 2, 2006", "2-Jan-06", up to the year or, in asctime's form, to the time.
    bool takeInWords()
    {
        while (at_ < text_.size() && (month_ == 0 || day_ == 0 || (year_ < 0 && !isTimeAhead()))) {
            if (!takeDatePiece())
                return false;
        }
        return month_ != 0 && day_ != 0;
    }
    bool isTimeAhead() const
    {
        const auto digits = digitsAhead();
        return digits >= 1 && digits <= 2 && next(digits) == ':';
    }
    bool takeDatePiece()
    {
        if (isDigit(next()))
            return takeDayOrYear();
        if (const auto name = word(); !name.empty()) {
            if (const int month = indexOf(kMonths, name); month >= 0 && month_ == 0) {
                month_ = month + 1;
                return true;
            }
            const bool isFirst = day_ == 0 && month_ == 0 && !hasWeekday_;
            hasWeekday_ = true;
            return isFirst && indexOf(kWeekdays, name) >= 0;
        }
        ++at_;
        return std::string_view(" ,.-/").find(text_[at_ - 1]) != std::string_view::npos;
    }
    bool takeDayOrYear()
    {
        const auto digits = digitsAhead();
        if (digits <= 2 && day_ == 0) {
            day_ = number(digits);
            for (const std::string_view ending : {"st", "nd", "rd", "th"}) {
                if (text_.substr(at_).starts_with(ending))
                    at_ += 2;
            }
            return day_ != 0;
        }
        return takeYear(digits);
    }
    bool takeYear(std::size_t digits)
    {
        if (year_ >= 0 || month_ == 0 || digits < 2 || digits > 4)
            return false;
        year_ = number(digits);
        if (digits < 4)
            year_ += digits == 2 && year_ < 50 ? 2000 : 1900;
        return true;
    }

    // Behind the date: the time, what belongs to it, and the year if it hasn't come.
    bool takePiece()
    {
        if (isTimeAhead())
            return takeTime();
        if (isDigit(next()))
            return takeYear(digitsAhead());
        // A date alone has no zone of this kind: "2006-01-02-0500" would be anything.
        if (next() == '+' || next() == '-')
            return hasTime_ && takeOffset();
        if (next() == '(')
            return takeComment();
        if (const auto name = word(); !name.empty())
            return name == "at" || name == "t" || takeHalfDay(name) || takeZone(name);
        ++at_;
        return text_[at_ - 1] == ' ' || text_[at_ - 1] == ',';
    }
    bool takeTime()
    {
        if (hasTime_)
            return false;
        hasTime_ = true;
        shortNumber(hour_);
        take(':');
        if (!shortNumber(minute_))
            return false;
        return !take(':') || (shortNumber(second_) && takeFraction());
    }
    bool takeFraction()
    {
        if ((next() != '.' && next() != ',') || !isDigit(next(1)))
            return true;
        ++at_;
        double unit = 0.1;
        for (auto digits = digitsAhead(); digits > 0; --digits, unit /= 10)
            fraction_ += number(1) * unit;
        return true;
    }
    bool takeHalfDay(std::string_view name)
    {
        if ((name != "am" && name != "pm") || !hasTime_ || hour_ < 1 || hour_ > 12 || halfDay_)
            return false;
        halfDay_ = true;
        hour_ = hour_ % 12 + (name == "pm" ? 12 : 0);
        return true;
    }
    bool takeZone(std::string_view name)
    {
        const auto zone
            = std::find_if(std::begin(kZones), std::end(kZones), [&](auto& one) { return one.name == name; });
        if (zone == std::end(kZones) || hasZone_)
            return false;
        hasZone_ = true;
        offset_ = zone->minutes;
        // "GMT+1" counts from Greenwich, "+0100 CET" says it twice.
        hasOffset_ = offset_ != 0;
        return true;
    }
    bool takeOffset()
    {
        const int sign = text_[at_++] == '-' ? -1 : 1;
        const auto digits = digitsAhead();
        if (digits < 1 || digits > 4 || hasOffset_)
            return false;
        hasOffset_ = true;
        int hours = number(digits > 2 ? digits - 2 : digits), minutes = 0;
        if (digits > 2)
            minutes = number(2);
        else if (take(':') && !shortNumber(minutes))
            return false;
        offset_ = sign * (hours * 60 + minutes);
        return hours <= 23 && minutes <= 59 && skipZoneName();
    }
    // The name behind an offset says the same again.
    bool skipZoneName()
    {
        while (take(' ')) { }
        if (next() == '\0' || next() == '(' || isDigit(next()))
            return true;
        const auto name = word();
        hasZone_ = true;
        return std::any_of(std::begin(kZones), std::end(kZones), [&](auto& zone) { return zone.name == name; });
    }
    bool takeComment()
    {
        const auto end = text_.find(')', at_);
        at_ = end == text_.npos ? at_ : end + 1;
        return end != text_.npos;
    }

    std::optional<Date> date() const
    {
        using namespace std::chrono;
        const year_month_day day{
            year(year_), month(static_cast<unsigned>(month_)), std::chrono::day(static_cast<unsigned>(day_))};
        const bool isMidnight = hour_ == 24 && minute_ == 0 && second_ == 0 && fraction_ == 0;
        if (!day.ok() || year_ < 1583 || (hour_ > 23 && !isMidnight) || minute_ > 59 || second_ > 60)
            return std::nullopt;
        const auto minutes = (hour_ * 60 + minute_ - offset_) * 60.0 + second_ + fraction_;
        return Date{static_cast<double>(sys_days(day).time_since_epoch().count()) * 86400 + minutes};
    }

    std::string_view text_;
    std::size_t at_ = 0;
    int year_ = -1, month_ = 0, day_ = 0, hour_ = 0, minute_ = 0, second_ = 0;
    double fraction_ = 0;
    int offset_ = 0; // minutes
    bool hasWeekday_ = false, hasTime_ = false, halfDay_ = false, hasZone_ = false, hasOffset_ = false;
};

} // namespace

std::optional<Date> toLenientDate(std::string_view text)
{
    text = trimmed(text);
    if (text.size() > kMostText)
        return std::nullopt;
    std::string lower(text);
    for (char& c : lower) {
        const bool isBlank = c == '\t' || c == '\n' || c == '\r';
        c = isBlank ? ' ' : static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    return LenientReader(lower).read();
}

std::optional<Date> toDateLeniently(std::string_view text, bool& forgiven)
{
    const auto date = toPermissiveDate(text);
    forgiven = false;
    if (date && date->secondsSince1970 >= kFirstYearOfFourDigits)
        return date;
    const auto lenient = toLenientDate(text);
    forgiven = lenient.has_value();
    return lenient ? lenient : date;
}

} // namespace FeedKit
