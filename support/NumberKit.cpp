#include "support/NumberKit.h"

#include "base/Text.h"
#include "support/CurrentLocale.h"

#include <unicode/dcfmtsym.h>
#include <unicode/numfmt.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <vector>

namespace vitrel {
namespace {

// A double has no more decimals than these; what follows would be zeros.
constexpr int kMostDecimals = 1074;
// The digits in front of the point, the sign and the point.
constexpr std::size_t kRoom = 320;

std::string decimalMark(const icu::Locale& locale)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::DecimalFormatSymbols symbols(locale, status);
    std::string mark;
    if (U_SUCCESS(status))
        symbols.getSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol).toUTF8String(mark);
    return mark.empty() ? "." : mark;
}

} // namespace

std::string formatLocale(double number, int decimals)
{
    const int count = std::clamp(decimals, 0, kMostDecimals);
    std::vector<char> buffer(kRoom + static_cast<std::size_t>(count));
    const auto end
        = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, std::chars_format::fixed, count);
    std::string text(buffer.data(), end.ptr);
    if (const auto point = text.find('.'); point != text.npos)
        text.replace(point, 1, decimalMark(currentLocale(LocaleCategory::Numeric)));
    return text;
}

std::optional<std::string> formatCurrency(double number, int maxDecimals, int minDecimals)
{
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::NumberFormat> formatter(
        icu::NumberFormat::createInstance(currentLocale(LocaleCategory::Numeric), UNUM_DECIMAL, status));
    if (U_FAILURE(status) || !formatter)
        return std::nullopt;
    formatter->setMaximumFractionDigits(std::clamp(maxDecimals, 0, kMostDecimals));
    formatter->setMinimumFractionDigits(std::clamp(minDecimals, 0, kMostDecimals));
    icu::UnicodeString text;
    std::string out;
    return formatter->format(number, text).toUTF8String(out);
}

std::string formatWithDecimals(double number, int decimals)
{
    const auto whole = formatCurrency(number, 0, 0), fine = formatCurrency(number, decimals, 0);
    if (!whole && !fine)
        return shortestDecimal(number);
    return whole && whole == fine ? *whole : formatLocale(number, decimals);
}

} // namespace vitrel
