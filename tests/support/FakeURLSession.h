#pragma once

#include "platform/foundation/URLSession.h"

#include <deque>
#include <utility>

namespace vitrel {

// A session whose requests wait until a test answers them, in any order, on the test's thread.
class FakeURLSession final : public URLSession
{
public:
    struct Request {
        std::string url;
        CompletionHandler handler;
    };
    std::deque<Request> requests; // not answered, in the order of coming
    int sent = 0;

    void answer(const std::string& body, std::size_t which = 0)
    {
        const auto bytes = bytesOf(body);
        take(which).handler(Bytes(bytes.begin(), bytes.end()), std::nullopt);
    }
    void fail(std::size_t which = 0) { take(which).handler(std::nullopt, "Could not connect to the server."); }
    Request take(std::size_t which)
    {
        Request request = std::move(requests.at(which));
        requests.erase(requests.begin() + static_cast<std::ptrdiff_t>(which));
        return request;
    }

    std::shared_ptr<URLSessionDataTask> dataTaskWithURLCompletionHandler(
        const std::string& url, CompletionHandler handler) override
    {
        return std::make_shared<Task>(*this, Request{url, std::move(handler)});
    }
    void invalidateAndCancel() override { requests.clear(); }

private:
    struct Task final : URLSessionDataTask {
        Task(FakeURLSession& session, Request request)
            : session(session)
            , request(std::move(request))
        { }
        void resume() override
        {
            ++session.sent;
            session.requests.push_back(std::move(request));
        }
        FakeURLSession& session;
        Request request;
    };
};

} // namespace vitrel
