#include "platform/quartzcomposer/patches/TextFormat.h"

#include "base/Text.h"

#include <unicode/decimfmt.h>
#include <unicode/rbnf.h>
#include <unicode/smpdtfmt.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace vitrel::qc {

namespace {

struct Directive {
    std::size_t begin = 0, end = 0; // in the format
    std::string flags; // flags, width and precision, held to what is sensible
    char kind = 0; // '%' for a literal one
};

// The next directive at or after `from`; kind 0 at the end. What only looks like one is skipped.
Directive nextDirective(const std::string& format, std::size_t from)
{
    for (std::size_t at = format.find('%', from); at != std::string::npos; at = format.find('%', at + 1)) {
        Directive d;
        d.begin = at;
        std::size_t k = at + 1;
        const auto digits = [&] {
            std::string number;
            while (k < format.size() && format[k] >= '0' && format[k] <= '9')
                number += format[k++];
            if (number.size() > 2 || (number.size() == 2 && number > "99"))
                number = "99";
            d.flags += number;
        };
        while (k < format.size() && std::string_view("-+ #0").find(format[k]) != std::string_view::npos
            && d.flags.size() < 8)
            d.flags += format[k++];
        digits();
        if (k < format.size() && format[k] == '.') {
            d.flags += format[k++];
            digits();
        }
        while (k < format.size() && std::string_view("lhqLzt").find(format[k]) != std::string_view::npos)
            ++k;
        if (k < format.size() && std::string_view("@diuxXfFgGeEs%c").find(format[k]) != std::string_view::npos) {
            d.kind = format[k];
            d.end = k + 1;
            return d;
        }
    }
    return {format.size(), format.size(), {}, 0};
}

std::string plain(const PortValue& value)
{
    if (value.as<ImageRef>() || value.as<StructureRef>() || value.as<MeshRef>() || value.as<NSColor>())
        return {};
    return *converted(value, PortType::String).as<std::string>();
}

std::string printed(const Directive& d, const PortValue& value)
{
    if (d.kind == '@' || d.kind == 's' || d.kind == 'c')
        return plain(value);
    const double number = *converted(value, PortType::Number).as<double>();
    std::array<char, 512> buffer{};
    const bool integer = std::string_view("diuxX").find(d.kind) != std::string_view::npos;
    const std::string format = "%" + d.flags + (integer ? "ll" : "") + d.kind;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    if (integer)
        std::snprintf(buffer.data(), buffer.size(), format.c_str(),
            static_cast<long long>(std::isnan(number) ? 0 : std::clamp(number, -9.2e18, 9.2e18)));
    else
        std::snprintf(buffer.data(), buffer.size(), format.c_str(), number);
#pragma GCC diagnostic pop
    return buffer.data();
}

} // namespace

std::size_t countDirectives(const std::string& format)
{
    constexpr std::size_t kMost = 256;
    std::size_t count = 0;
    for (Directive d = nextDirective(format, 0); d.kind && count < kMost; d = nextDirective(format, d.end))
        count += d.kind != '%';
    return count;
}

std::string formatted(const std::string& format, const std::vector<PortValue>& values)
{
    constexpr std::size_t kMost = 4u << 20;
    std::string out;
    std::size_t at = 0, next = 0;
    for (Directive d = nextDirective(format, 0); d.kind && out.size() <= kMost; d = nextDirective(format, d.end)) {
        out.append(format, at, d.begin - at);
        if (d.kind == '%')
            out += '%';
        else
            out += printed(d, next < values.size() ? values[next] : PortValue());
        next += d.kind != '%';
        at = d.end;
    }
    return out.append(format, at);
}

std::vector<PortValue> scanned(const std::string& format, const std::string& text)
{
    std::vector<PortValue> values;
    std::size_t inText = 0, inFormat = 0;
    const auto literal = [&](const std::string& expected) {
        if (text.compare(inText, expected.size(), expected) != 0)
            return false;
        inText += expected.size();
        return true;
    };
    for (Directive d = nextDirective(format, 0); d.kind; d = nextDirective(format, d.end)) {
        if (!literal(format.substr(inFormat, d.begin - inFormat)))
            return values;
        inFormat = d.end;
        if (d.kind == '%') {
            if (!literal("%"))
                return values;
        } else if (d.kind == '@' || d.kind == 's' || d.kind == 'c') {
            const std::size_t end = inFormat < format.size() ? text.find(format[inFormat], inText) : text.size();
            const std::size_t stop = end == std::string::npos ? text.size() : end;
            values.emplace_back(text.substr(inText, stop - inText));
            inText = stop;
        } else {
            std::size_t end = inText;
            while (end < text.size() && std::string_view("+-.0123456789eE ").find(text[end]) != std::string_view::npos)
                ++end;
            const auto number = leadingNumber(std::string_view(text).substr(inText, end - inText));
            if (!number)
                return values;
            values.emplace_back(*number);
            inText = end;
        }
    }
    return values;
}

struct NumberFormat::Implementation {
    std::unique_ptr<icu::NumberFormat> format;
};

namespace {

std::unique_ptr<icu::NumberFormat> formatOfStyle(const std::string& style)
{
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::NumberFormat> format;
    const icu::Locale english("en_US");
    const std::string name = asciiLowercase(style);
    if (name.starts_with("spell"))
        format = std::make_unique<icu::RuleBasedNumberFormat>(icu::URBNF_SPELLOUT, english, status);
    else if (name == "currency")
        format.reset(icu::NumberFormat::createCurrencyInstance(english, status));
    else if (name == "percent")
        format.reset(icu::NumberFormat::createPercentInstance(english, status));
    else if (name == "scientific")
        format.reset(icu::NumberFormat::createScientificInstance(english, status));
    return U_SUCCESS(status) ? std::move(format) : nullptr;
}

} // namespace

NumberFormat::NumberFormat(const std::string& pattern, const std::string& style)
    : implementation_(std::make_shared<Implementation>())
{
    if (pattern.empty())
        implementation_->format = formatOfStyle(style);
    if (pattern.empty() || pattern.size() > 200)
        return;
    UErrorCode status = U_ZERO_ERROR;
    auto symbols = std::make_unique<icu::DecimalFormatSymbols>(icu::Locale("en_US_POSIX"), status);
    if (U_FAILURE(status))
        return;
    symbols->setSymbol(icu::DecimalFormatSymbols::kGroupingSeparatorSymbol, ",");
    auto format
        = std::make_unique<icu::DecimalFormat>(icu::UnicodeString::fromUTF8(pattern), symbols.release(), status);
    if (U_SUCCESS(status)) {
        format->setRoundingMode(icu::DecimalFormat::kRoundHalfEven);
        implementation_->format = std::move(format);
    }
}

std::string NumberFormat::format(double number) const
{
    if (!implementation_->format || !std::isfinite(number))
        return shortestDecimal(number);
    icu::UnicodeString text;
    implementation_->format->format(number, text);
    std::string out;
    return text.toUTF8String(out);
}

struct DateFormat::Implementation {
    std::unique_ptr<icu::SimpleDateFormat> format;
    std::string cFormat;
};

DateFormat::DateFormat(const std::string& pattern)
    : implementation_(std::make_shared<Implementation>())
{
    const std::string used = pattern.empty() || pattern.size() > 200 ? "yyyy-MM-dd HH:mm:ss" : pattern;
    if (used.find('%') != std::string::npos) {
        implementation_->cFormat = used;
        return;
    }
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(used), status);
    if (U_SUCCESS(status))
        implementation_->format = std::move(format);
}

std::string DateFormat::format(Date date) const
{
    if (!std::isfinite(date.secondsSince1970) || std::fabs(date.secondsSince1970) > 1e13)
        return {};
    if (!implementation_->cFormat.empty()) {
        const auto seconds = static_cast<std::time_t>(std::floor(date.secondsSince1970));
        std::tm parts{};
        std::array<char, 1024> buffer{};
        if (!localtime_r(&seconds, &parts))
            return {};
        const std::size_t length
            = std::strftime(buffer.data(), buffer.size(), implementation_->cFormat.c_str(), &parts);
        return repairedUtf8({buffer.data(), length});
    }
    if (!implementation_->format)
        return {};
    icu::UnicodeString text;
    implementation_->format->format(date.secondsSince1970 * 1000, text);
    std::string out;
    return text.toUTF8String(out);
}

} // namespace vitrel::qc
