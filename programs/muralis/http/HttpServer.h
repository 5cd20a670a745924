#pragma once

#include "base/Result.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/SocketOwner.h"
#include "programs/muralis/http/HttpRequest.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

// A JSON answer of the status 200. Null is a refusal: status 403, an empty object, and the connection is closed.
using HttpAnswer = std::shared_ptr<const std::string>;

// A server on the loopback device, 127.0.0.1 and ::1, on a run loop: it has no thread of its own, waits for nobody, and
// wakes up for nothing but its callers and their deadlines. Main thread.
class HttpServer
{
public:
    static constexpr std::size_t kMostConnections = 64;
    // From the first byte of a request, or from the connection, to the end of its head; and for its answer. A machine
    // talks to itself in milliseconds.
    static constexpr Seconds kRequestTime{5};
    // How long a connection may be kept without a request.
    static constexpr Seconds kIdleTime{30};
    // How long what a refused caller still has to say is read, so that the refusal reaches it.
    static constexpr Seconds kFarewellTime{1};

    // `owner` gives the user whose the caller's end of the connection is, absent if it isn't found; slow at the first
    // call on a connection, and only valid during the call.
    using Owner = std::function<std::optional<uid_t>()>;
    using Handler = std::function<HttpAnswer(const HttpRequest&, const Owner& owner)>;

    // One of the two addresses is enough where the machine has only one; a port that is taken on either is an error,
    // told in a few words. The loop must outlive the server.
    static Result<std::unique_ptr<HttpServer>, std::string> listen(RunLoop& loop, std::uint16_t port, Handler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::size_t connectionCount() const { return connections_.size(); }
    std::uint16_t port() const { return port_; }

private:
    struct Connection {
        ConnectionEnds ends;
        std::optional<uid_t> owner; // once it was asked for
        std::string input; // at most a head, and what was read behind it
        std::string head; // of the answer that is being sent, then its body
        HttpAnswer body;
        std::size_t sent = 0;
        Seconds deadline{0};
        Seconds lastUse{0};
        bool hasAnswer = false;
        bool closesAfterAnswer = false;
        bool isLeaving = false; // all is said; what comes is read and dropped
        bool wasLetIn = false; // a request of it was answered
    };
    using Connections = std::map<int, std::unique_ptr<Connection>>;

    HttpServer(RunLoop& loop, Handler handler);
    std::optional<std::string> open(int family, std::uint16_t port);
    void watchListener(int listener);
    void acceptFrom(int listener);
    void makeRoom();
    Connections::iterator leastNeeded();
    void readFrom(int fd);
    void takeRequests(int fd, Connection& connection);
    void answer(Connection& connection, const HttpAnswer& body, bool closes);
    bool send(int fd, Connection& connection);
    void leave(int fd, Connection& connection);
    void close(int fd);
    void setDeadline(Connection& connection, Seconds span);
    void armTimer(Seconds due);
    void dropOverdue();

    RunLoop& loop_;
    const Handler handler_;
    std::uint16_t port_ = 0;
    std::vector<int> listeners_;
    Connections connections_;
    std::shared_ptr<NSTimer> timer_;
    Seconds timerDue_{0};
    std::shared_ptr<int> alive_ = std::make_shared<int>();
};

} // namespace vitrel
