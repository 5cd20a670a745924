#pragma once

#include "base/Bytes.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vitrel {

// One request of a session. It goes on without anybody who holds it. Any thread.
class URLSessionDataTask
{
public:
    virtual ~URLSessionDataTask() = default;
    // Starts it; a second time has no effect.
    virtual void resume() = 0;
};

// Where requests are made.
class URLSession
{
public:
    // What came, whatever status the server gave it, or what went wrong: one of the two. Runs once, on a thread of the
    // session, and is released there.
    using CompletionHandler = std::function<void(std::optional<Bytes> data, std::optional<std::string> error)>;

    virtual ~URLSession() = default;
    // A GET request, which begins with `resume`. A URL that can't be used is told to the handler. Any thread.
    virtual std::shared_ptr<URLSessionDataTask> dataTaskWithURLCompletionHandler(
        const std::string& url, CompletionHandler handler)
        = 0;
    // Ends all requests, those to come as well, without a word to their handlers, which are released before this
    // returns. A handler that runs is waited for. Any thread but the session's.
    virtual void invalidateAndCancel() = 0;
};

} // namespace vitrel
