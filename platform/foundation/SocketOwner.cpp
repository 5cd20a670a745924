#include "platform/foundation/SocketOwner.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <unistd.h>

namespace vitrel {

namespace {

// Some hundred thousand sockets; beyond that the peer counts as not found.
constexpr std::size_t kMostListed = std::size_t(64) << 20;

// The address as the lists have it: each word of four bytes in the machine's order, in hexadecimal, and the port.
// `wide` writes an IPv4 address as the IPv6 socket has it that speaks IPv4.
std::string listed(const sockaddr_storage& address, bool wide)
{
    std::uint32_t words[4] = {0, 0, htonl(0xFFFF), 0};
    std::uint16_t port = 0;
    int first = wide ? 0 : 3;
    if (address.ss_family == AF_INET) {
        sockaddr_in in;
        std::memcpy(&in, &address, sizeof in);
        words[3] = in.sin_addr.s_addr;
        port = ntohs(in.sin_port);
    } else {
        sockaddr_in6 in;
        std::memcpy(&in, &address, sizeof in);
        std::memcpy(words, &in.sin6_addr, sizeof words);
        port = ntohs(in.sin6_port);
        first = 0;
    }
    std::string text;
    char piece[16];
    for (int k = first; k < 4; ++k) {
        std::snprintf(piece, sizeof piece, "%08X", words[k]);
        text += piece;
    }
    std::snprintf(piece, sizeof piece, ":%04X", port);
    return text + piece;
}

std::string_view nextField(std::string_view& line)
{
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    const std::size_t end = std::min(line.find(' '), line.size());
    const std::string_view field = line.substr(0, end);
    line.remove_prefix(end);
    return field;
}

std::string contentsOf(const char* path)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    std::string contents;
    char piece[32768];
    for (ssize_t count = 1; file >= 0 && count > 0 && contents.size() < kMostListed;) {
        count = read(file, piece, sizeof piece);
        if (count > 0)
            contents.append(piece, static_cast<std::size_t>(count));
    }
    if (file >= 0)
        close(file);
    return contents;
}

} // namespace

std::optional<uid_t> ownerInSocketList(std::string_view list, const ConnectionEnds& ends)
{
    // The list has the peer's socket by its own view: its local address is the peer's.
    const std::string narrow = listed(ends.peer, false) + " " + listed(ends.own, false);
    const std::string wide = listed(ends.peer, true) + " " + listed(ends.own, true);
    while (!list.empty()) {
        const std::size_t end = std::min(list.find('\n'), list.size());
        std::string_view line = list.substr(0, end);
        list.remove_prefix(std::min(end + 1, list.size()));
        nextField(line); // its number
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        if (!line.starts_with(narrow) && !line.starts_with(wide))
            continue;
        for (int skipped = 0; skipped < 2; ++skipped)
            nextField(line); // the two addresses
        // Established, or closed for sending. Of a socket that nobody holds any more the list says 0.
        const std::string_view state = nextField(line);
        if (state != "01" && state != "04" && state != "05")
            continue;
        for (int skipped = 0; skipped < 3; ++skipped)
            nextField(line); // queues, timer, repeats
        const std::string_view user = nextField(line);
        uid_t owner = 0;
        const auto [last, error] = std::from_chars(user.data(), user.data() + user.size(), owner);
        if (error == std::errc() && last == user.data() + user.size())
            return owner;
    }
    return std::nullopt;
}

namespace {

// What the kernel knows of a socket.
struct Known {
    unsigned state = 0;
    uid_t user = 0;
    bool isHeld = false; // by a process
};
struct Asked {
    std::optional<Known> socket;
    bool isAnswered = false; // the kernel can tell at all
};

void put(const sockaddr_storage& address, __be32 (&words)[4], __be16& port)
{
    if (address.ss_family == AF_INET) {
        sockaddr_in in;
        std::memcpy(&in, &address, sizeof in);
        words[0] = in.sin_addr.s_addr;
        port = in.sin_port;
    } else {
        sockaddr_in6 in;
        std::memcpy(&in, &address, sizeof in);
        std::memcpy(words, &in.sin6_addr, sizeof words);
        port = in.sin6_port;
    }
}

// The socket with `local` as its own end; without `remote` the one that listens there.
Asked askKernel(int netlink, const sockaddr_storage& local, const sockaddr_storage* remote)
{
    struct {
        nlmsghdr head{};
        inet_diag_req_v2 body{};
    } question;
    question.head.nlmsg_len = sizeof question;
    question.head.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    question.head.nlmsg_flags = NLM_F_REQUEST;
    question.body.sdiag_family = static_cast<__u8>(local.ss_family);
    question.body.sdiag_protocol = IPPROTO_TCP;
    question.body.idiag_states = ~0U;
    question.body.id.idiag_cookie[0] = question.body.id.idiag_cookie[1] = ~0U;
    put(local, question.body.id.idiag_src, question.body.id.idiag_sport);
    if (remote)
        put(*remote, question.body.id.idiag_dst, question.body.id.idiag_dport);
    alignas(nlmsghdr) char answer[8192];
    if (send(netlink, &question, sizeof question, 0) != ssize_t(sizeof question))
        return {};
    // It was answered within the call above.
    const ssize_t size = recv(netlink, answer, sizeof answer, MSG_DONTWAIT);
    nlmsghdr head;
    if (size < ssize_t(sizeof head))
        return {};
    std::memcpy(&head, answer, sizeof head);
    if (head.nlmsg_type == NLMSG_ERROR && size >= ssize_t(NLMSG_LENGTH(sizeof(int)))) {
        int error;
        std::memcpy(&error, answer + NLMSG_HDRLEN, sizeof error);
        return {std::nullopt, error == -ENOENT};
    }
    inet_diag_msg message;
    if (head.nlmsg_type != SOCK_DIAG_BY_FAMILY || size < ssize_t(NLMSG_LENGTH(sizeof message)))
        return {};
    std::memcpy(&message, answer + NLMSG_HDRLEN, sizeof message);
    return {Known{message.idiag_state, message.idiag_uid, message.idiag_inode != 0}, true};
}

// States of a socket, by the kernel's numbers (include/net/tcp_states.h).
constexpr unsigned kEstablished = 1, kFinWait1 = 4, kFinWait2 = 5, kListen = 10;

struct Owner {
    bool isTold = false; // else the kernel can't
    std::optional<uid_t> user{};
};

Owner askForOwner(int netlink, const ConnectionEnds& ends)
{
    const auto peer = askKernel(netlink, ends.peer, &ends.own);
    if (!peer.socket) // a kernel without the means doesn't even know our own end
        return {peer.isAnswered && askKernel(netlink, ends.own, &ends.peer).socket.has_value()};
    const unsigned state = peer.socket->state;
    if (peer.socket->isHeld && (state == kEstablished || state == kFinWait1 || state == kFinWait2))
        return {true, peer.socket->user};
    if (peer.socket->isHeld || state != kEstablished)
        return {true};
    // It waits to be accepted, and goes with its listener: the one between two looks at it is that one.
    const auto listener = askKernel(netlink, ends.peer, nullptr);
    const auto again = askKernel(netlink, ends.peer, &ends.own);
    const bool isListener = listener.socket && listener.socket->state == kListen && listener.socket->isHeld;
    if (isListener && again.socket && (!again.socket->isHeld || again.socket->user == listener.socket->user))
        return {true, listener.socket->user};
    return {true};
}

} // namespace

std::optional<uid_t> ownerOfPeer(const ConnectionEnds& ends)
{
    const int netlink = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    const Owner owner = netlink >= 0 ? askForOwner(netlink, ends) : Owner();
    if (netlink >= 0)
        close(netlink);
    if (owner.isTold)
        return owner.user;
    for (const char* path : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        if (const auto owner = ownerInSocketList(contentsOf(path), ends))
            return owner;
    }
    return std::nullopt;
}

} // namespace vitrel
