#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace vitrel {

// A server on the loopback device that gives every request of every connection the same body and keeps connections
// open, all on one thread.
class KeepAliveServer
{
public:
    explicit KeepAliveServer(const std::string& body)
        : answer_("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body)
        , listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        ::bind(listener_, reinterpret_cast<sockaddr*>(&address), size);
        ::listen(listener_, 64);
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~KeepAliveServer()
    {
        stopping_ = true;
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
    }
    KeepAliveServer(const KeepAliveServer&) = delete;
    KeepAliveServer& operator=(const KeepAliveServer&) = delete;

    int port() const { return port_; }
    int connections() const { return connections_; }
    int requests() const { return requests_; }
    // Closes the connections that are open, as a server does that was started anew.
    void hangUp() { hangUp_ = true; }

private:
    struct Open {
        int socket;
        std::string bytes;
    };

    void serve()
    {
        std::vector<Open> open;
        while (!stopping_) {
            std::vector<pollfd> fds{{listener_, POLLIN, 0}};
            for (const auto& one : open)
                fds.push_back({one.socket, POLLIN, 0});
            ::poll(fds.data(), fds.size(), 20);
            const bool closeAll = hangUp_.exchange(false);
            for (std::size_t k = open.size(); k > 0; --k) {
                auto& one = open[k - 1];
                if (closeAll || (fds[k].revents && !read(one))) {
                    ::close(one.socket);
                    open.erase(open.begin() + static_cast<std::ptrdiff_t>(k) - 1);
                }
            }
            if (fds[0].revents & POLLIN) {
                const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
                const int on = 1;
                if (socket >= 0 && ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0) {
                    open.push_back({socket, {}});
                    ++connections_;
                }
            }
        }
        for (const auto& one : open)
            ::close(one.socket);
    }

    bool read(Open& one)
    {
        char piece[4096];
        const auto count = ::recv(one.socket, piece, sizeof piece, 0);
        if (count <= 0)
            return false;
        one.bytes.append(piece, static_cast<std::size_t>(count));
        for (auto end = one.bytes.find("\r\n\r\n"); end != one.bytes.npos; end = one.bytes.find("\r\n\r\n")) {
            one.bytes.erase(0, end + 4);
            ++requests_;
            ::send(one.socket, answer_.data(), answer_.size(), MSG_NOSIGNAL);
        }
        return true;
    }

    const std::string answer_;
    const int listener_;
    int port_ = 0;
    std::atomic<bool> stopping_ = false, hangUp_ = false;
    std::atomic<int> connections_ = 0, requests_ = 0;
    std::thread thread_;
};

} // namespace vitrel
