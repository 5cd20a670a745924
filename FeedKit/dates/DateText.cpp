#include "FeedKit/dates/DateText.h"

#include <algorithm>
#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace FeedKit {

namespace {

// Longer than any run that makes a difference: blanks count as one or are skipped, no name has so many letters, and a
// number beyond ten digits is out of every field's range unless it begins with zeros.
constexpr std::size_t kMaxRun = 34;

bool isDigit(char kind)
{
    return kind >= '0' && kind <= '9';
}
bool isLetter(char kind)
{
    return kind >= 'a' && kind <= 'z';
}
bool isOneOf(char kind, std::string_view kinds)
{
    return kinds.find(kind) != kinds.npos;
}

char kindOf(char32_t c)
{
    const auto code = static_cast<UChar32>(c);
    if (c < 0x80) {
        if (c >= 'A' && c <= 'Z')
            return static_cast<char>(c + 'a' - 'A');
        if (c >= 0x09 && c <= 0x0D)
            return ' ';
        return static_cast<char>(c);
    }
    if (u_charType(code) == U_DECIMAL_DIGIT_NUMBER)
        return static_cast<char>('0' + u_charDigitValue(code));
    if (u_isUWhiteSpace(code) || u_hasBinaryProperty(code, UCHAR_PATTERN_WHITE_SPACE))
        return ' ';
    return '?';
}

int classOf(char kind)
{
    return kind == ' ' ? 1 : isDigit(kind) ? 2 : isLetter(kind) ? 3 : 0;
}

// What \w stands for in a regular expression over Unicode text.
bool isWordCharacter(char32_t c)
{
    const auto code = static_cast<UChar32>(c);
    constexpr std::uint32_t kinds = U_GC_M_MASK | U_GC_ND_MASK | U_GC_PC_MASK;
    return u_hasBinaryProperty(code, UCHAR_ALPHABETIC) || (U_GET_GC_MASK(code) & kinds) || c == 0x200C || c == 0x200D;
}

using P = Pattern;
constexpr PatternSet kFromWeekday{P::weekdaySeconds, P::weekdayMinutes};
constexpr PatternSet kFromDay{P::daySecondsOffset, P::daySecondsZone, P::dayMinutesZone};
constexpr PatternSet kFromYear{
    P::yearSecondsOffset, P::isoSeconds, P::isoFraction, P::isoDashedFraction, P::isoMinutesFraction, P::isoMinutes};
constexpr PatternSet kWithT{P::isoSeconds, P::isoFraction, P::isoDashedFraction, P::isoMinutesFraction, P::isoMinutes};
constexpr PatternSet kWithSeconds{P::weekdaySeconds, P::daySecondsOffset, P::yearSecondsOffset, P::daySecondsZone,
    P::isoSeconds, P::isoFraction, P::isoDashedFraction};
constexpr PatternSet kWithoutSeconds{P::weekdayMinutes, P::dayMinutesZone, P::isoMinutesFraction, P::isoMinutes};

// By how the text begins: a weekday, a day or a year.
PatternSet byBeginning(std::string_view kinds)
{
    std::size_t at = kinds.find_first_not_of(' ');
    if (at == kinds.npos)
        return {};
    PatternSet set = PatternSet::all();
    // A character outside ASCII may fold to a letter, and may be a sign.
    if (!isOneOf(kinds[at], "smtwf?") || kinds.find(',') == kinds.npos)
        set.remove(kFromWeekday);
    if (!isDigit(kinds[at])) {
        if (!isOneOf(kinds[at], "-+?")) {
            set.remove(kFromDay);
            set.remove(kFromYear);
        }
        return set;
    }
    while (at < kinds.size() && isDigit(kinds[at]))
        ++at;
    const char next = at < kinds.size() ? kinds[at] : '\0';
    if (next == 'e' || next == '?') // an exponent, or what ICU may skip
        return set;
    if (next != ' ')
        set.remove(kFromDay);
    if (next != '-')
        set.remove(kFromYear);
    return set;
}

// Whether the first colon is followed by a number and another colon: the minutes of a time with seconds.
bool hasSeconds(std::string_view kinds)
{
    std::size_t at = kinds.find_first_not_of(' ', kinds.find(':') + 1);
    if (at == kinds.npos)
        return false;
    at += kinds[at] == '-';
    const std::size_t digits = at;
    while (at < kinds.size() && isDigit(kinds[at]))
        ++at;
    return at > digits && at < kinds.size() && kinds[at] == ':';
}

} // namespace

DateText::DateText(std::string_view text)
{
    const auto bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    for (std::size_t at = 0; at < text.size();) {
        UChar32 character = 0;
        U8_NEXT(bytes, at, text.size(), character);
        // Bytes that aren't UTF-8 would become U+FFFD, which no pattern has.
        if (character < 0 || !add(static_cast<char32_t>(character), kindOf(static_cast<char32_t>(character)))) {
            count_ = 0;
            return;
        }
    }
    encode();
}

// False if no pattern can read what has come.
bool DateText::add(char32_t character, char kind)
{
    const int kindClass = classOf(kind);
    const bool goesOn = count_ > 0 && kindClass != 0 && classOf(kinds_[count_ - 1]) == kindClass;
    if (!goesOn)
        run_ = zeros_ = 0;
    if (kind == ' ' && run_ == kMaxRun) {
        if (character != ' ')
            characters_[count_ - 1] = character; // the leading word's rule knows plain blanks alone
        return true;
    }
    if (isLetter(kind) && run_ == kMaxRun)
        return true;
    if (isDigit(kind) && run_ == kMaxRun) {
        if (zeros_ == 0)
            return false;
        if (zeros_ == run_ && kind == '0')
            return true;
        const std::size_t first = count_ - run_;
        std::copy(characters_.begin() + first + 1, characters_.begin() + count_, characters_.begin() + first);
        std::copy(kinds_.begin() + first + 1, kinds_.begin() + count_, kinds_.begin() + first);
        --count_;
        --run_;
        --zeros_;
    }
    if (count_ == kMaxCharacters)
        return false;
    characters_[count_] = character;
    kinds_[count_] = kind;
    zeros_ += kind == '0' && zeros_ == run_;
    ++count_;
    ++run_;
    return true;
}

void DateText::encode()
{
    for (std::size_t k = 0; k < count_; ++k) {
        const auto c = characters_[k];
        if (c <= 0xFFFF) {
            units_[unitCount_++] = static_cast<char16_t>(c);
        } else {
            units_[unitCount_++] = U16_LEAD(c);
            units_[unitCount_++] = U16_TRAIL(c);
        }
    }
}

PatternSet DateText::candidates(std::size_t start) const
{
    const std::string_view kinds(kinds_.data() + std::min(start, count_), count_ - std::min(start, count_));
    const auto colons = std::count(kinds.begin(), kinds.end(), ':');
    if (colons == 0)
        return {};
    PatternSet set = byBeginning(kinds);
    if (set.empty())
        return set;
    if (std::find(characters_.begin() + start, characters_.begin() + count_, U'T') == characters_.begin() + count_)
        set.remove(kWithT);
    if (colons < 2)
        set.remove(kWithSeconds);
    else
        set.remove({P::isoMinutes});
    if (colons < 3)
        set.remove({P::isoDashedFraction});
    if (kinds.find('.') == kinds.npos)
        set.remove({P::isoFraction});
    if (hasSeconds(kinds))
        set.remove(kWithoutSeconds);
    if (!isDigit(kinds.back()) && kinds.back() != '?')
        set.remove({P::isoMinutes});
    return set;
}

std::size_t DateText::behindLeadingWord() const
{
    std::size_t at = 0;
    while (at < count_ && characters_[at] < 0x80 && isLetter(kinds_[at]))
        ++at;
    if (at == 0 || at + 2 >= count_ || characters_[at] != ',' || characters_[at + 1] != ' ')
        return 0;
    const auto allowed = [](char32_t c) { return c == ' ' || c == ':' || c == '+' || c == '-' || isWordCharacter(c); };
    const std::size_t start = at + 2;
    return std::all_of(characters_.begin() + start, characters_.begin() + count_, allowed) ? start : 0;
}

} // namespace FeedKit
