#pragma once

#include "base/Date.h"
#include "companion/token/Token.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>
#include <utility>

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vitrel {

// The other side of the wire, byte by byte.
class Caller
{
public:
    // `family` as in "socket"; AF_UNSPEC is an IPv6 socket that speaks IPv4.
    explicit Caller(std::uint16_t port, int family = AF_INET)
    {
        const char* host = family == AF_INET ? "127.0.0.1" : family == AF_INET6 ? "::1" : "::ffff:127.0.0.1";
        addrinfo hints{}, *found = nullptr;
        hints.ai_flags = AI_NUMERICHOST;
        hints.ai_socktype = SOCK_STREAM;
        ::getaddrinfo(host, std::to_string(port).c_str(), &hints, &found);
        socket_ = ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        isConnected_ = ::connect(socket_, found->ai_addr, found->ai_addrlen) == 0;
        ::freeaddrinfo(found);
    }
    ~Caller() { ::close(socket_); }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    bool isConnected() const { return isConnected_; }
    int socket() const { return socket_; }
    bool send(std::string_view bytes) const
    {
        return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == ssize_t(bytes.size());
    }
    // What is there now and hasn't been taken, without waiting.
    std::string received()
    {
        char piece[65536];
        for (ssize_t count = 1; count > 0;) {
            count = ::recv(socket_, piece, sizeof piece, MSG_DONTWAIT);
            if (count > 0)
                input_.append(piece, std::size_t(count));
            isReset_ = isReset_ || (count < 0 && errno == ECONNRESET);
            isClosed_ = isClosed_ || count == 0 || (count < 0 && errno != EAGAIN);
        }
        return std::exchange(input_, {});
    }
    // Whether the other side had ended the connection at the last look.
    bool isClosed()
    {
        input_ = received();
        return isClosed_;
    }
    // Whether it broke off instead, which takes away from a slow reader what it was sent.
    bool isReset() const { return isReset_; }
    // The next whole answer, or what came of it before the connection ended or ten seconds were over.
    std::string answer()
    {
        for (int k = 0; k < 1000; ++k) {
            input_ = received();
            const std::size_t end = input_.find("\r\n\r\n"), length = input_.find("Content-Length: ");
            if (end != std::string::npos && length < end) {
                const std::size_t all = end + 4 + std::strtoul(input_.c_str() + length + 16, nullptr, 10);
                if (input_.size() >= all) {
                    const std::string whole = input_.substr(0, all);
                    input_.erase(0, all);
                    return whole;
                }
            }
            if (isClosed_)
                break;
            pollfd ready{socket_, POLLIN, 0};
            ::poll(&ready, 1, 10);
        }
        return std::exchange(input_, {});
    }

private:
    int socket_ = -1;
    bool isConnected_ = false, isClosed_ = false, isReset_ = false;
    std::string input_;
};

inline std::string bodyOf(const std::string& answer)
{
    const std::size_t end = answer.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : answer.substr(end + 4);
}

// An identity that no other call gives.
inline std::string freshIdentity()
{
    static unsigned count = 0;
    char text[64];
    std::snprintf(text, sizeof text, "%08X-ABCD-4000-8000-0123456789AB", ++count);
    return text;
}

// As the saver writes it, here by the C library. Whole milliseconds.
inline std::string dateText(Date date)
{
    const auto milliseconds = static_cast<long long>(date.secondsSince1970 * 1000 + 0.5);
    const std::time_t seconds = milliseconds / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H.%M.%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%03d", int(milliseconds % 1000));
    return text;
}

inline std::string signedTarget(std::string_view head, Date date, const std::string& identity = freshIdentity())
{
    return std::string(head) + "1" + escapedCompanionQuery(identity, dateText(date));
}

inline std::string get(const std::string& target, const std::string& fields = "Host: localhost\r\n")
{
    return "GET " + target + " HTTP/1.1\r\n" + fields + "\r\n";
}

} // namespace vitrel
