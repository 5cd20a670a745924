#include "programs/idle/Inhibitors.h"

#include "base/Text.h"

#include <algorithm>

namespace vitrel {

namespace {

constexpr std::size_t kMostPerCaller = 1000, kMostCallers = 50, kLongestText = 1000;

bool hasAny(const std::string& text, std::initializer_list<const char*> words)
{
    return std::any_of(words.begin(), words.end(), [&](const char* word) { return text.find(word) != text.npos; });
}

} // namespace

bool holdsSaverBack(const Inhibitor& inhibitor)
{
    const std::string why = asciiLowercase(inhibitor.why);
    // Browsers say "audio-playing" and "video-playing", "Playing audio" and "Playing video".
    return !hasAny(why, {"audio", "music", "sound"})
        || hasAny(why, {"video", "film", "movie", "present", "call", "conference"});
}

std::uint32_t InhibitorBook::add(const std::string& caller, Inhibitor inhibitor)
{
    if (!callers_.contains(caller) && callers_.size() >= kMostCallers)
        return 0;
    auto& mine = callers_[caller];
    if (mine.size() >= kMostPerCaller)
        return 0;
    inhibitor.who.resize(std::min(inhibitor.who.size(), kLongestText));
    inhibitor.why.resize(std::min(inhibitor.why.size(), kLongestText));
    while (next_ == 0 || mine.contains(next_))
        ++next_;
    mine[next_] = std::move(inhibitor);
    return next_++;
}

bool InhibitorBook::remove(const std::string& caller, std::uint32_t cookie)
{
    const auto mine = callers_.find(caller);
    if (mine == callers_.end() || !mine->second.erase(cookie))
        return false;
    if (mine->second.empty())
        callers_.erase(mine);
    return true;
}

bool InhibitorBook::holdsSaverBack() const
{
    const auto list = all();
    return std::any_of(list.begin(), list.end(), vitrel::holdsSaverBack);
}

std::vector<Inhibitor> InhibitorBook::all() const
{
    std::vector<Inhibitor> list;
    for (const auto& [caller, mine] : callers_)
        for (const auto& [cookie, inhibitor] : mine)
            list.push_back(inhibitor);
    return list;
}

} // namespace vitrel
