#include "FeedKit/dates/PatternReader.h"

#include <unicode/timezone.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace FeedKit {

namespace {

// ICU 72 brings a fraction of n digits to milliseconds with a division by the low 32 bits of 10^(n - 3). From here on
// those bits are all zero, and the process would end by a signal.
constexpr int kDigitsThatKill = 35;

// Whether a number in `text` may have that many digits. An exponent's digits count, and so does what ICU may skip.
bool hasDeadlyNumber(const icu::UnicodeString& text)
{
    int digits = 0;
    UChar32 before = 0;
    for (int at = 0; at < text.length();) {
        const UChar32 c = text.char32At(at);
        at += U16_LENGTH(c);
        const bool exponent = c == 'E' || c == 'e' || ((c == '-' || c == '+') && (before == 'E' || before == 'e'));
        if (u_isdigit(c))
            ++digits;
        else if (c < 0x80 && !exponent)
            digits = 0;
        if (digits >= kDigitsThatKill)
            return true;
        before = c;
    }
    return false;
}

const icu::SimpleDateFormat* keptFormatter(Pattern pattern)
{
    thread_local std::array<std::unique_ptr<icu::SimpleDateFormat>, kPatterns.size()> kept;
    const auto index = static_cast<std::size_t>(pattern);
    if (!kept[index]) {
        UErrorCode error = U_ZERO_ERROR;
        const auto text = icu::UnicodeString::fromUTF8({kPatterns[index].data(), int(kPatterns[index].size())});
        auto made = std::make_unique<icu::SimpleDateFormat>(text, icu::Locale("en_US_POSIX"), error);
        if (U_FAILURE(error))
            return nullptr;
        made->setTimeZone(*icu::TimeZone::getGMT());
        made->setLenient(false);
        kept[index] = std::move(made);
    }
    return kept[index].get();
}

} // namespace

std::optional<Date> readStrictly(const icu::SimpleDateFormat& formatter, const icu::UnicodeString& text)
{
    if (text.isEmpty() || hasDeadlyNumber(text))
        return std::nullopt;
    icu::ParsePosition position;
    const UDate milliseconds = formatter.parse(text, position);
    if (position.getErrorIndex() != -1 || position.getIndex() != text.length())
        return std::nullopt;
    return Date{milliseconds / 1000};
}

std::optional<Date> readByPattern(Pattern pattern, std::u16string_view text)
{
    const auto formatter = keptFormatter(pattern);
    if (!formatter)
        return std::nullopt;
    // A view of the text, not a copy.
    return readStrictly(*formatter, icu::UnicodeString(false, text.data(), static_cast<std::int32_t>(text.size())));
}

} // namespace FeedKit
