#pragma once

#include "FeedKit/basics/Export.h"
#include "FeedKit/fetch/Fetcher.h"

#include <chrono>
#include <cstddef>

namespace FeedKit {

// Feeds of the largest sites have some ten megabytes; beyond these limits somebody means harm, or it is no feed.
struct FetchLimits {
    std::size_t bytes = 64u << 20; // of the resource, decompressed
    std::chrono::milliseconds time{60'000}; // in all, redirects included
    int redirects = 10;
};

// Fetches "http", "https" and "file" addresses. Compressed answers come out decompressed; redirects are followed, never
// out of http and https; proxies are those of the environment. Sends and keeps no cookies, knows no passwords but those
// of the address, and takes no certificate that the system doesn't trust. A status of 400 or above is an error.
//
// Any thread, any number of calls at once.
class FEEDKIT_API CurlFetcher final : public Fetcher
{
public:
    explicit CurlFetcher(FetchLimits limits = {})
        : limits_(limits)
    { }

    Result<std::optional<FetchedContents>, std::string> contentsOfIfModified(
        const URL& url, const Validators& known, std::stop_token stop = {}) override;

private:
    FetchLimits limits_;
};

} // namespace FeedKit
