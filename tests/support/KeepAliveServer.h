#pragma once

#include "support/LocalServer.h"

#include <atomic>
#include <string>

namespace vitrel {

// A server on the loopback device that gives every request of every connection the same body and keeps connections
// open.
class KeepAliveServer
{
public:
    explicit KeepAliveServer(const std::string& body)
        : answer_("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body)
    { }

    int port() const { return server_.port(); }
    int connections() const { return connections_; }
    int requests() const { return requests_; }
    // Closes the connections that are open, as a server does that was started anew.
    void hangUp() { server_.hangUp(); }

private:
    const std::string answer_;
    std::atomic<int> connections_ = 0, requests_ = 0;
    LocalServer server_{[this](const LocalServer::Request&, const LocalServer::Connection& to) {
        ++connections_;
        do
            ++requests_;
        while (to.send(answer_) && to.hasAnother());
    }};
};

} // namespace vitrel
