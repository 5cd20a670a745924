#pragma once

#include "platform/foundation/URLSession.h"

#include <chrono>
#include <cstddef>
#include <optional>

#include <sys/types.h>

namespace vitrel {

struct URLSessionLimits {
    // The platform's default. It bounds the whole request, so that a server that sends a byte now and then ends, too.
    std::chrono::milliseconds time{60'000};
    // Of the body, decoded: room for a cover of 24 MB as base64.
    std::size_t bytes = (32u << 20) - 1;
    // Whose servers may be told anything; any user's if absent. Asked of the kernel once a connection is there, and
    // ahead of the first byte that is sent.
    std::optional<uid_t> user = {};
};

// A session for servers on this machine, with one thread, which starts with the first request. It speaks plain http,
// follows no redirect, passes by every proxy, keeps connections for the next request, and tries both address families
// of "localhost". The destructor is invalidateAndCancel.
class CurlURLSession final : public URLSession
{
public:
    explicit CurlURLSession(URLSessionLimits limits = {});
    ~CurlURLSession() override;

    std::shared_ptr<URLSessionDataTask> dataTaskWithURLCompletionHandler(
        const std::string& url, CompletionHandler handler) override;
    void invalidateAndCancel() override;

private:
    struct Worker;
    class Task;
    std::shared_ptr<Worker> worker_;
};

} // namespace vitrel
