#include "FeedKit/models/RSSFeed.h"

#include <algorithm>
#include <array>

namespace FeedKit {

namespace {

constexpr std::array<std::string_view, 5> kPeriods = {"hourly", "daily", "weekly", "monthly", "yearly"};
constexpr std::array<std::string_view, 7> kDays
    = {"monday", "tuesday", "wednesday", "thursday", "friday", "saturday", "sunday"};

template <class Enum, std::size_t Count>
std::optional<Enum> named(const std::array<std::string_view, Count>& names, std::string_view text)
{
    const auto sameLetter
        = [](char given, char name) { return given == name || (given >= 'A' && given <= 'Z' && given + 32 == name); };
    for (std::size_t k = 0; k < Count; ++k) {
        if (std::equal(text.begin(), text.end(), names[k].begin(), names[k].end(), sameLetter))
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
