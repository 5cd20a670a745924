#include "FeedKit/models/Forgivings.h"

#include <algorithm>

namespace FeedKit {

namespace {

constexpr std::array<std::string_view, kForgivables> kNames{"entities", "ampersands", "charset", "characters",
    "junkAhead", "brokenOff", "prefixes", "atom03", "rss090", "dates", "jsonTypes", "jsonVersion", "tags"};

} // namespace

std::string_view rawValue(Forgivable what)
{
    return kNames[static_cast<std::size_t>(what)];
}

std::optional<Forgivable> makeForgivable(std::string_view text)
{
    const auto name = std::find(kNames.begin(), kNames.end(), text);
    return name == kNames.end() ? std::nullopt : std::optional(Forgivable(name - kNames.begin()));
}

bool Forgivings::empty() const
{
    return std::all_of(found_.begin(), found_.end(), [](const Forgiven& one) { return one.count == 0; });
}

std::vector<Forgiven> Forgivings::list() const
{
    std::vector<Forgiven> list;
    for (std::size_t k = 0; k < found_.size(); ++k) {
        if (found_[k].count > 0)
            list.push_back({Forgivable(k), found_[k].count, found_[k].first});
    }
    return list;
}

void Forgivings::take(const Forgivings& other)
{
    for (std::size_t k = 0; k < found_.size(); ++k) {
        if (found_[k].count == 0)
            found_[k].first = other.found_[k].first;
        found_[k].count += other.found_[k].count;
    }
}

} // namespace FeedKit
