#include "programs/muralis/http/HttpServer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>

namespace vitrel {

namespace {

// Connections that come faster than they are taken wait here.
constexpr int kBacklog = 64;
// After a connection that the system had no means for.
constexpr Seconds kAcceptPause{1};
// The saver reads over an empty object without a word.
const auto kRefusal = std::make_shared<const std::string>("{}");

bool isMissingAddress(int error)
{
    return error == EAFNOSUPPORT || error == EADDRNOTAVAIL || error == EPROTONOSUPPORT;
}

std::string headOf(const char* status, std::size_t length, bool closes)
{
    return std::string("HTTP/1.1 ") + status + "\r\nContent-Type: application/json\r\nContent-Length: "
        + std::to_string(length) + "\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n"
        + (closes ? "Connection: close\r\n\r\n" : "\r\n");
}

} // namespace

HttpServer::HttpServer(RunLoop& loop, Handler handler)
    : loop_(loop)
    , handler_(std::move(handler))
{ }

HttpServer::~HttpServer()
{
    if (timer_)
        timer_->invalidate();
    while (!connections_.empty())
        close(connections_.begin()->first);
    for (const int listener : listeners_) {
        loop_.unwatch(listener);
        ::close(listener);
    }
}

Result<std::unique_ptr<HttpServer>, std::string> HttpServer::listen(RunLoop& loop, std::uint16_t port, Handler handler)
{
    std::unique_ptr<HttpServer> server(new HttpServer(loop, std::move(handler)));
    for (const int family : {AF_INET, AF_INET6}) {
        // The second takes the number that the first got.
        if (auto error = server->open(family, server->port_ ? server->port_ : port))
            return *error;
    }
    if (server->listeners_.empty())
        return std::string("there is no loopback device");
    for (const int listener : server->listeners_)
        server->watchListener(listener);
    return server;
}

std::optional<std::string> HttpServer::open(int family, std::uint16_t port)
{
    const auto failure = [port](int error) -> std::string {
        return "can't listen on port " + std::to_string(port) + ": " + std::strerror(error);
    };
    const int listener = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener < 0)
        return isMissingAddress(errno) ? std::nullopt : std::optional(failure(errno));
    sockaddr_storage address{};
    socklen_t size = 0;
    if (family == AF_INET) {
        sockaddr_in in{};
        in.sin_family = AF_INET;
        in.sin_port = htons(port);
        in.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        std::memcpy(&address, &in, size = sizeof in);
    } else {
        sockaddr_in6 in{};
        in.sin6_family = AF_INET6;
        in.sin6_port = htons(port);
        in.sin6_addr = in6addr_loopback;
        std::memcpy(&address, &in, size = sizeof in);
    }
    // Connections of the last run that are still ending don't hold the port. No SO_REUSEPORT: with it a second server
    // would share it.
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (family == AF_INET6)
        setsockopt(listener, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, generic, size) != 0 || ::listen(listener, kBacklog) != 0) {
        const int error = errno;
        ::close(listener);
        return isMissingAddress(error) ? std::nullopt : std::optional(failure(error));
    }
    listeners_.push_back(listener);
    getsockname(listener, generic, &size);
    if (family == AF_INET) {
        sockaddr_in in;
        std::memcpy(&in, &address, sizeof in);
        port_ = ntohs(in.sin_port);
    } else {
        sockaddr_in6 in;
        std::memcpy(&in, &address, sizeof in);
        port_ = ntohs(in.sin6_port);
    }
    return std::nullopt;
}

void HttpServer::watchListener(int listener)
{
    loop_.watch(listener, POLLIN, [this, listener](short) { acceptFrom(listener); });
}

void HttpServer::acceptFrom(int listener)
{
    // No more at a time than there is place for: those that are there get their turn, too.
    for (std::size_t taken = 0; taken < kMostConnections; ++taken) {
        auto connection = std::make_unique<Connection>();
        socklen_t size = sizeof connection->ends.peer;
        const int fd = accept4(
            listener, reinterpret_cast<sockaddr*>(&connection->ends.peer), &size, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) {
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
                // It would be ready at once again, and nothing be done.
                loop_.unwatch(listener);
                loop_.postAfter(kAcceptPause, [this, listener, weak = std::weak_ptr(alive_)] {
                    if (!weak.expired())
                        watchListener(listener);
                });
            }
            if (errno != ECONNABORTED && errno != EINTR)
                return;
            continue;
        }
        size = sizeof connection->ends.own;
        getsockname(fd, reinterpret_cast<sockaddr*>(&connection->ends.own), &size);
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on); // the end of a large answer isn't to wait
        makeRoom();
        if (connections_.size() >= kMostConnections) {
            ::close(fd);
            continue;
        }
        connection->lastUse = loop_.clock().now();
        setDeadline(*connection, kRequestTime);
        connections_[fd] = std::move(connection);
        loop_.watch(fd, POLLIN, [this, fd](short) { readFrom(fd); });
    }
}

// Whoever has shown nothing yet goes first, so that strangers who only hold connections don't keep the savers out;
// then whoever has been silent the longest. A connection that is in the middle of an answer stays.
HttpServer::Connections::iterator HttpServer::leastNeeded()
{
    const auto rank
        = [](const Connection& connection) { return std::make_pair(connection.wasLetIn, connection.lastUse); };
    auto least = connections_.end();
    for (auto at = connections_.begin(); at != connections_.end(); ++at) {
        const bool isBusy = at->second->hasAnswer && at->second->wasLetIn;
        if (!isBusy && (least == connections_.end() || rank(*at->second) < rank(*least->second)))
            least = at;
    }
    return least;
}

void HttpServer::makeRoom()
{
    while (connections_.size() >= kMostConnections) {
        const auto least = leastNeeded();
        if (least == connections_.end())
            return;
        // Its request may have come already, and only not have had its turn.
        const int fd = least->first;
        if (!least->second->wasLetIn)
            readFrom(fd);
        const auto still = connections_.find(fd);
        if (still != connections_.end() && (still->second->wasLetIn == false || leastNeeded() == still))
            close(fd);
    }
}

void HttpServer::readFrom(int fd)
{
    const auto found = connections_.find(fd);
    if (found == connections_.end() || found->second->hasAnswer)
        return;
    Connection& connection = *found->second;
    char piece[kMostHttpHead];
    const std::size_t room = connection.isLeaving ? sizeof piece : kMostHttpHead - connection.input.size();
    const ssize_t count = recv(fd, piece, room, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0) {
        close(fd);
        return;
    }
    if (connection.isLeaving)
        return;
    if (connection.input.empty() && connection.wasLetIn)
        setDeadline(connection, kRequestTime);
    connection.input.append(piece, static_cast<std::size_t>(count));
    takeRequests(fd, connection);
}

void HttpServer::takeRequests(int fd, Connection& connection)
{
    while (!connection.hasAnswer && !connection.isLeaving) {
        const auto head = readHttpRequest(connection.input);
        if (!head && head.error() == NoHttpHead::Yet)
            return;
        if (!head) {
            answer(connection, nullptr, true);
        } else {
            connection.input.erase(0, head->length);
            connection.lastUse = loop_.clock().now();
            const HttpAnswer body = handler_(head->request, [&connection] {
                if (!connection.owner)
                    connection.owner = ownerOfPeer(connection.ends);
                return connection.owner;
            });
            answer(connection, body, !body || !head->request.keepsAlive);
        }
        if (!send(fd, connection))
            return;
    }
}

void HttpServer::answer(Connection& connection, const HttpAnswer& body, bool closes)
{
    connection.body = body ? body : kRefusal;
    connection.head = headOf(body ? "200 OK" : "403 Forbidden", connection.body->size(), closes);
    connection.sent = 0;
    connection.hasAnswer = true;
    connection.closesAfterAnswer = closes;
    connection.wasLetIn = connection.wasLetIn || body;
    setDeadline(connection, kRequestTime);
}

// True if all of the answer has gone, and the connection is there to go on with.
bool HttpServer::send(int fd, Connection& connection)
{
    const std::size_t headSize = connection.head.size(), all = headSize + connection.body->size();
    while (connection.sent < all) {
        iovec pieces[2];
        int count = 0;
        if (connection.sent < headSize)
            pieces[count++] = {connection.head.data() + connection.sent, headSize - connection.sent};
        const std::size_t fromBody = connection.sent > headSize ? connection.sent - headSize : 0;
        pieces[count++] = {const_cast<char*>(connection.body->data()) + fromBody, connection.body->size() - fromBody};
        msghdr message{};
        message.msg_iov = pieces;
        message.msg_iovlen = static_cast<std::size_t>(count);
        const ssize_t written = sendmsg(fd, &message, MSG_NOSIGNAL);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0 && errno == EAGAIN) {
            loop_.watch(fd, POLLOUT, [this, fd](short) {
                const auto found = connections_.find(fd);
                if (found != connections_.end() && found->second->hasAnswer && send(fd, *found->second))
                    takeRequests(fd, *found->second);
            });
            return false;
        }
        if (written <= 0) {
            close(fd);
            return false;
        }
        connection.sent += static_cast<std::size_t>(written);
    }
    connection.hasAnswer = false;
    connection.head.clear();
    connection.body.reset();
    if (connection.closesAfterAnswer)
        leave(fd, connection);
    else
        setDeadline(connection, connection.input.empty() ? kIdleTime : kRequestTime);
    loop_.watch(fd, POLLIN, [this, fd](short) { readFrom(fd); });
    return true;
}

// To close with bytes unread would throw away what the other side hasn't read yet.
void HttpServer::leave(int fd, Connection& connection)
{
    connection.isLeaving = true;
    connection.input.clear();
    shutdown(fd, SHUT_WR);
    setDeadline(connection, kFarewellTime);
}

void HttpServer::close(int fd)
{
    loop_.unwatch(fd);
    ::close(fd);
    connections_.erase(fd);
}

void HttpServer::setDeadline(Connection& connection, Seconds span)
{
    connection.deadline = loop_.clock().now() + span;
    armTimer(connection.deadline);
}

// A deadline that is put off leaves the timer as it is: it will find nothing to do, once, rather than be set anew for
// each request.
void HttpServer::armTimer(Seconds due)
{
    if (timer_ && timer_->isValid() && timerDue_ <= due)
        return;
    if (timer_)
        timer_->invalidate();
    timerDue_ = due;
    timer_ = loop_.scheduledTimer(due - loop_.clock().now(), false, [this] { dropOverdue(); });
}

void HttpServer::dropOverdue()
{
    const Seconds now = loop_.clock().now();
    std::vector<int> overdue;
    std::optional<Seconds> next;
    for (const auto& [fd, connection] : connections_) {
        if (connection->deadline <= now)
            overdue.push_back(fd);
        else
            next = std::min(next.value_or(connection->deadline), connection->deadline);
    }
    for (const int fd : overdue)
        close(fd);
    if (next)
        armTimer(*next);
}

} // namespace vitrel
