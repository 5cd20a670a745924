#pragma once

#include "FeedKit/basics/Date.h"
#include "FeedKit/basics/Export.h"
#include "FeedKit/models/Fields.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace FeedKit {

enum class SyndicationUpdatePeriod { hourly, daily, weekly, monthly, yearly };

FEEDKIT_API std::string_view rawValue(SyndicationUpdatePeriod period);
// In any case of letters, by Unicode's rules; absent for an unknown word. Nothing is trimmed.
FEEDKIT_API std::optional<SyndicationUpdatePeriod> makeSyndicationUpdatePeriod(std::string_view text);

// How often a channel is renewed (prefix "sy").
struct SyndicationNamespace {
    std::optional<SyndicationUpdatePeriod> syUpdatePeriod;
    std::optional<std::int64_t> syUpdateFrequency; // times in each period
    std::optional<Date> syUpdateBase;

    FEEDKIT_FIELDS(SyndicationNamespace, syUpdatePeriod, syUpdateFrequency, syUpdateBase)
};

} // namespace FeedKit
