#include "FeedKit/models/RSSFeed.h"

#include <array>
#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace FeedKit {

namespace {

using namespace std::string_view_literals;

constexpr std::array kPeriods{"hourly"sv, "daily"sv, "weekly"sv, "monthly"sv, "yearly"sv};
constexpr std::array kDays{"monday"sv, "tuesday"sv, "wednesday"sv, "thursday"sv, "friday"sv, "saturday"sv, "sunday"sv};

// No name has more than nine letters, and none is the small form of a letter of more than three bytes.
constexpr std::size_t kLongest = 27;

template <class Enum, std::size_t Count>
std::optional<Enum> named(const std::array<std::string_view, Count>& names, std::string_view text)
{
    if (text.size() > kLongest)
        return std::nullopt;
    std::string small;
    icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())})
        .toLower(icu::Locale::getRoot())
        .toUTF8String(small);
    for (std::size_t k = 0; k < Count; ++k) {
        if (names[k] == small)
            return static_cast<Enum>(k);
    }
    return std::nullopt;
}

} // namespace

std::string_view rawValue(SyndicationUpdatePeriod period)
{
    return kPeriods[static_cast<std::size_t>(period)];
}

std::optional<SyndicationUpdatePeriod> makeSyndicationUpdatePeriod(std::string_view text)
{
    return named<SyndicationUpdatePeriod>(kPeriods, text);
}

std::string_view rawValue(RSSFeedSkipDay day)
{
    return kDays[static_cast<std::size_t>(day)];
}

std::optional<RSSFeedSkipDay> makeRSSFeedSkipDay(std::string_view text)
{
    return named<RSSFeedSkipDay>(kDays, text);
}

} // namespace FeedKit
