#pragma once

#include "FeedKit/fetch/Fetcher.h"
#include "base/Text.h"

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace vitrel {

// Answers requests for feeds with the texts that it is given, in turn.
struct FakeFetcher final : FeedKit::Fetcher {
    FeedKit::Result<std::optional<FeedKit::FetchedContents>, std::string> contentsOfIfModified(
        const FeedKit::URL& url, const FeedKit::Validators& known, std::stop_token stop) override
    {
        if (stop.stop_requested()) {
            ++stopped;
            return std::string("stopped");
        }
        asked.push_back(url.text());
        if (onAsk)
            std::exchange(onAsk, nullptr)();
        if (isAlwaysUnmodified || (eTag && known.eTag == eTag))
            return std::optional<FeedKit::FetchedContents>();
        if (answers.empty())
            return std::string("the host was not found");
        const auto text = answers.front();
        answers.pop_front();
        const auto view = bytesOf(text);
        FeedKit::FetchedContents contents;
        contents.bytes.assign(view.begin(), view.end());
        contents.validators.eTag = eTag;
        return std::optional(std::move(contents));
    }

    std::vector<std::string> asked;
    std::deque<std::string> answers;
    std::optional<std::string> eTag; // of what is there now
    bool isAlwaysUnmodified = false; // also to who knows nothing
    std::function<void()> onAsk; // runs once, while an answer is on its way
    int stopped = 0;
};

} // namespace vitrel
