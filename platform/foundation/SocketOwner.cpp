#include "programs/muralis/http/SocketOwner.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <fcntl.h>
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

std::optional<uid_t> ownerOfPeer(const ConnectionEnds& ends)
{
    for (const char* path : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        if (const auto owner = ownerInSocketList(contentsOf(path), ends))
            return owner;
    }
    return std::nullopt;
}

} // namespace vitrel
