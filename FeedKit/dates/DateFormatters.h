#pragma once

#include "FeedKit/basics/Date.h"

#include <array>
#include <optional>
#include <string_view>

// Texts of a feed as points in time. Texts are UTF-8; absent means that no pattern reads the text. A pattern takes the
// whole text, white space and newlines at its ends aside, and no field may run over ("30 Feb", "24:00"). A text without
// a zone is GMT, names are English, years before the calendar reform are Julian. Nothing depends on the machine's
// locale, zone or clock. Never throws. Any thread.
namespace FeedKit {

// What each formatter can do.
class DateFormatter
{
public:
    virtual ~DateFormatter() = default;
    // By the first pattern that reads `text`.
    virtual std::optional<Date> date(std::string_view text) const = 0;
};

class ISO8601DateFormatter final : public DateFormatter
{
public:
    static constexpr std::array<std::string_view, 4> dateFormats{
        "yyyy-MM-dd'T'HH:mm:ss.SSZZZZZ",
        "yyyy-MM-dd'T'HH:mm:ssZZZZZ",
        "yyyy-MM-dd'T'HH:mmSSZZZZZ",
        "yyyy-MM-dd'T'HH:mm",
    };
    std::optional<Date> date(std::string_view text) const override;
};

class RFC3339DateFormatter final : public DateFormatter
{
public:
    static constexpr std::array<std::string_view, 3> dateFormats{
        "yyyy-MM-dd'T'HH:mm:ssZZZZZ",
        "yyyy-MM-dd'T'HH:mm:ss.SSZZZZZ",
        "yyyy-MM-dd'T'HH:mm:ss-SS:ZZ",
    };
    std::optional<Date> date(std::string_view text) const override;
};

class RFC822DateFormatter final : public DateFormatter
{
public:
    static constexpr std::array<std::string_view, 4> dateFormats{
        "EEE, d MMM yyyy HH:mm:ss zzz",
        "EEE, d MMM yyyy HH:mm zzz",
        "d MMM yyyy HH:mm:ss Z",
        "yyyy-MM-dd HH:mm:ss Z",
    };
    // For a text that none of the others reads, less its leading word and comma if it has them.
    static constexpr std::array<std::string_view, 2> backupFormats{
        "d MMM yyyy HH:mm:ss zzz",
        "d MMM yyyy HH:mm zzz",
    };
    std::optional<Date> date(std::string_view text) const override;
};

// By the first of RFC822DateFormatter, RFC3339DateFormatter and ISO8601DateFormatter that reads `text`.
std::optional<Date> toPermissiveDate(std::string_view text);

} // namespace FeedKit
