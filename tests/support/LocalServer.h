#pragma once

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace vitrel {

// An HTTP server on the loopback device that says, byte by byte, what a test wants it to, right or wrong. Each request
// has a connection of its own and a thread of its own, on which the script runs. Nothing waits for longer than the
// server lives. What isn't HTTP, such as the beginning of TLS, is a request without a method.
class LocalServer
{
public:
    struct Request {
        std::string method;
        std::string target; // as on the wire
        std::map<std::string, std::string> headers; // names in small letters
        std::string body;

        std::string header(const std::string& name) const
        {
            const auto found = headers.find(name);
            return found == headers.end() ? std::string() : found->second;
        }
    };

    // The way back to whoever asked. It is closed when the script returns.
    class Connection
    {
    public:
        Connection(int socket, const std::atomic<bool>& stopping)
            : socket_(socket)
            , stopping_(stopping)
        { }
        // False once nobody listens any more.
        bool send(std::string_view bytes) const
        {
            while (!bytes.empty()) {
                const auto count = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
                if (count <= 0)
                    return false;
                bytes.remove_prefix(static_cast<std::size_t>(count));
            }
            return !stopping_;
        }
        // Waits for another request without a body. False if the other side has gone.
        bool hasAnother() const
        {
            std::string head;
            char piece[4096];
            for (ssize_t count = 1; count > 0 && !head.ends_with("\r\n\r\n");) {
                count = ::recv(socket_, piece, sizeof piece, 0);
                head.append(piece, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
            }
            return head.ends_with("\r\n\r\n");
        }
        // Keeps silent until the other side has had enough.
        void stall() const
        {
            char byte = 0;
            while (::recv(socket_, &byte, 1, 0) > 0) { }
        }

    private:
        friend class LocalServer;
        int socket_;
        const std::atomic<bool>& stopping_;
    };

    using Script = std::function<void(const Request&, const Connection&)>;

    // `script` runs on threads of the server, maybe on several at once. `family` is AF_INET or AF_INET6,
    // `port` 0 any that is free.
    explicit LocalServer(Script script, int family = AF_INET, int port = 0)
        : script_(std::move(script))
        , listener_(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        addrinfo hints{}, *own = nullptr;
        hints.ai_flags = AI_NUMERICHOST;
        hints.ai_socktype = SOCK_STREAM;
        ::getaddrinfo(family == AF_INET ? "127.0.0.1" : "::1", std::to_string(port).c_str(), &hints, &own);
        const int on = 1;
        ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        const bool bound = ::bind(listener_, own->ai_addr, own->ai_addrlen) == 0;
        ::freeaddrinfo(own);
        ::listen(listener_, 64);
        sockaddr_in6 address{}; // the port is at the same place in both
        socklen_t size = sizeof address;
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = bound ? ntohs(address.sin6_port) : 0;
        accepting_ = std::thread([this] { acceptAll(); });
    }
    // Gives every request the same answer.
    explicit LocalServer(std::string answer)
        : LocalServer([answer = std::move(answer)](const Request&, const Connection& to) { to.send(answer); })
    { }
    ~LocalServer()
    {
        stopping_ = true;
        ::shutdown(listener_, SHUT_RDWR);
        accepting_.join();
        ::close(listener_);
        hangUp();
        for (auto& thread : serving_)
            thread.join();
    }
    LocalServer(const LocalServer&) = delete;
    LocalServer& operator=(const LocalServer&) = delete;

    // Ends all connections that are open.
    void hangUp()
    {
        const std::lock_guard lock(mutex_);
        for (const int socket : open_)
            ::shutdown(socket, SHUT_RDWR);
    }

    // 0 if this machine hasn't that family.
    int port() const { return port_; }
    std::string url(const std::string& target = "/") const
    {
        return "http://127.0.0.1:" + std::to_string(port_) + target;
    }
    // What was asked for so far, in the order of coming.
    std::vector<Request> requests() const
    {
        const std::lock_guard lock(mutex_);
        return requests_;
    }

    // A whole answer. `headers` are lines that end in CR LF; the length is added, and a wish to close the connection.
    static std::string answer(
        std::string_view body, const std::string& headers = {}, const std::string& status = "200 OK")
    {
        return "HTTP/1.1 " + status + "\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n"
            + headers + "\r\n" + std::string(body);
    }
    static std::string redirect(const std::string& location)
    {
        return answer("", "Location: " + location + "\r\n", "302 Found");
    }
    // The head of an answer whose end is the connection's.
    static std::string head(const std::string& headers = {})
    {
        return "HTTP/1.1 200 OK\r\nConnection: close\r\n" + headers + "\r\n";
    }
    // One piece of a chunked body; an empty one ends it.
    static std::string chunk(std::string_view bytes)
    {
        char size[20];
        std::snprintf(size, sizeof size, "%zx\r\n", bytes.size());
        return size + std::string(bytes) + "\r\n";
    }

private:
    void acceptAll()
    {
        while (!stopping_) {
            const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (socket < 0)
                continue;
            const std::lock_guard lock(mutex_);
            open_.push_back(socket);
            serving_.emplace_back([this, socket] { serve(socket); });
        }
    }

    void serve(int socket)
    {
        Request request;
        if (read(socket, request)) {
            {
                const std::lock_guard lock(mutex_);
                requests_.push_back(request);
            }
            script_(request, Connection(socket, stopping_));
            drain(socket);
        }
        const std::lock_guard lock(mutex_);
        std::erase(open_, socket);
        ::close(socket);
    }

    // Bytes that nobody read when a socket closes make the kernel drop what was sent.
    static void drain(int socket)
    {
        ::shutdown(socket, SHUT_WR);
        char bytes[512];
        while (::recv(socket, bytes, sizeof bytes, 0) > 0) { }
    }

    static bool read(int socket, Request& request)
    {
        std::string bytes;
        const auto more = [&] {
            char piece[4096];
            const auto count = ::recv(socket, piece, sizeof piece, 0);
            bytes.append(piece, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
            return count > 0;
        };
        do {
            if (!more())
                return false;
            if (bytes[0] < 'A' || bytes[0] > 'Z')
                return true;
        } while (bytes.find("\r\n\r\n") == bytes.npos);
        const auto end = bytes.find("\r\n\r\n");
        parseHead(bytes.substr(0, end + 2), request);
        bytes.erase(0, end + 4);
        const auto length = std::strtoul(request.header("content-length").c_str(), nullptr, 10);
        while (bytes.size() < length && more()) { }
        request.body = bytes.substr(0, length);
        return bytes.size() >= length;
    }

    static void parseHead(const std::string& head, Request& request)
    {
        std::istringstream lines(head);
        std::string line;
        lines >> request.method >> request.target;
        std::getline(lines, line);
        while (std::getline(lines, line)) {
            const auto colon = line.find(':'), value = line.find_first_not_of(' ', colon + 1), end = line.find('\r');
            std::string name = line.substr(0, colon);
            std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
            request.headers[name] = line.substr(value, end - value);
        }
    }

    Script script_;
    int listener_;
    int port_ = 0;
    std::atomic<bool> stopping_ = false;
    mutable std::mutex mutex_; // guards what follows, up to the accepting thread
    std::vector<Request> requests_;
    std::vector<int> open_;
    std::vector<std::thread> serving_; // grows on the accepting thread alone
    std::thread accepting_;
};

} // namespace vitrel
