#pragma once

#include "FeedKit/basics/Date.h"

#include <memory>
#include <optional>
#include <string_view>
#include <unicode/regex.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/uniset.h>
#include <vector>

namespace FeedKit {

// The date formatters once more, by ICU alone: the second opinion of tests, fuzzing and benchmarks. Shares no code with
// the library. One thread.
class PlainDates
{
public:
    using Date = FeedKit::Date;

    std::optional<Date> rfc822(std::string_view text) const
    {
        auto unicode = trimmed(text);
        if (const auto date = first(rfc822_, unicode))
            return date;
        UErrorCode error = U_ZERO_ERROR;
        const std::unique_ptr<icu::RegexMatcher> matcher(word_->matcher(unicode, error));
        unicode = matcher->replaceFirst("$1", error);
        return first(rfc822Backup_, unicode);
    }
    std::optional<Date> rfc3339(std::string_view text) const { return first(rfc3339_, trimmed(text)); }
    std::optional<Date> iso8601(std::string_view text) const { return first(iso8601_, trimmed(text)); }
    std::optional<Date> permissive(std::string_view text) const
    {
        if (const auto date = rfc822(text))
            return date;
        if (const auto date = rfc3339(text))
            return date;
        return iso8601(text);
    }

private:
    using Formatters = std::vector<icu::SimpleDateFormat>;

    static Formatters made(std::initializer_list<const char*> patterns)
    {
        Formatters formatters;
        for (const char* pattern : patterns) {
            UErrorCode error = U_ZERO_ERROR;
            formatters.emplace_back(pattern, icu::Locale("en_US_POSIX"), error);
            formatters.back().setTimeZone(*icu::TimeZone::getGMT());
            formatters.back().setLenient(false);
        }
        return formatters;
    }
    static std::optional<Date> first(const Formatters& formatters, const icu::UnicodeString& text)
    {
        for (const auto& formatter : formatters) {
            icu::ParsePosition position(0);
            const UDate date = formatter.parse(text, position);
            if (position.getErrorIndex() < 0 && position.getIndex() > 0 && position.getIndex() == text.length())
                return Date{date / 1000};
        }
        return std::nullopt;
    }
    static icu::UnicodeString decoded(std::string_view text)
    {
        return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
    }
    icu::UnicodeString trimmed(std::string_view text) const
    {
        const auto unicode = decoded(text);
        const int start = blanks_->span(unicode, 0, USET_SPAN_SIMPLE);
        const int end = blanks_->spanBack(unicode, unicode.length(), USET_SPAN_SIMPLE);
        return start < end ? icu::UnicodeString(unicode, start, end - start) : icu::UnicodeString();
    }

    UErrorCode error_ = U_ZERO_ERROR;
    std::unique_ptr<icu::UnicodeSet> blanks_
        = std::make_unique<icu::UnicodeSet>(R"([[:Zs:]\u0009-\u000D\u0085\u2028\u2029])", error_);
    std::unique_ptr<icu::RegexPattern> word_{icu::RegexPattern::compile(R"(^[a-zA-Z]+, ([\w :+-]+)$)", 0, error_)};
    Formatters rfc822_ = made({"EEE, d MMM yyyy HH:mm:ss zzz", "EEE, d MMM yyyy HH:mm zzz", "d MMM yyyy HH:mm:ss Z",
        "yyyy-MM-dd HH:mm:ss Z"});
    Formatters rfc822Backup_ = made({"d MMM yyyy HH:mm:ss zzz", "d MMM yyyy HH:mm zzz"});
    Formatters rfc3339_
        = made({"yyyy-MM-dd'T'HH:mm:ssZZZZZ", "yyyy-MM-dd'T'HH:mm:ss.SSZZZZZ", "yyyy-MM-dd'T'HH:mm:ss-SS:ZZ"});
    Formatters iso8601_ = made({"yyyy-MM-dd'T'HH:mm:ss.SSZZZZZ", "yyyy-MM-dd'T'HH:mm:ssZZZZZ",
        "yyyy-MM-dd'T'HH:mmSSZZZZZ", "yyyy-MM-dd'T'HH:mm"});
};

} // namespace FeedKit
