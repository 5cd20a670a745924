#include "FeedKit/dates/DateStrategies.h"

#include "FeedKit/dates/PatternReader.h"

#include <cmath>
#include <limits>

namespace FeedKit {

namespace {

constexpr std::size_t kMaxText = 1024; // in bytes; no date that someone wrote comes near

icu::UnicodeString unicode(std::string_view text)
{
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

} // namespace

Result<Date, DateDecodingError> decodingStrategy(std::string_view text)
{
    if (!text.empty() && text.size() <= kMaxText) {
        for (const auto pattern : RFC3339DateFormatter::dateFormats) {
            UErrorCode error = U_ZERO_ERROR;
            icu::SimpleDateFormat formatter(unicode(pattern), error);
            if (U_FAILURE(error))
                continue;
            formatter.setLenient(false);
            if (const auto date = readStrictly(formatter, unicode(text)))
                return *date;
        }
    }
    return DateDecodingError{"Date decoding strategy failed."};
}

std::string encodingStrategy(Date date)
{
    std::string text;
    UErrorCode error = U_ZERO_ERROR;
    const icu::SimpleDateFormat formatter(unicode("YYYY-MM-dd'T'HH:mm:ss"), error);
    if (U_FAILURE(error))
        return text;
    icu::UnicodeString formatted;
    formatter.format(std::isnan(date.secondsSince1970) ? 0 : date.secondsSince1970 * 1000, formatted);
    return formatted.toUTF8String(text);
}

} // namespace FeedKit
