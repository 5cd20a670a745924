#pragma once

#include <optional>
#include <string_view>

#include <sys/socket.h>
#include <sys/types.h>

namespace vitrel {

// The two ends of a TCP connection, as one of them sees them.
struct ConnectionEnds {
    sockaddr_storage peer{}, own{};
};

// The user whose socket the other end is, if that lies on this machine; absent if it isn't found. A connection that
// nobody has accepted yet is its listener's. Asks the kernel for the one socket (sock_diag(7)); where it can't tell,
// reads its lists, which takes the longer the more there are. Any thread.
std::optional<uid_t> ownerOfPeer(const ConnectionEnds& ends);

// The same in a list of the kernel's, /proc/net/tcp or tcp6.
std::optional<uid_t> ownerInSocketList(std::string_view list, const ConnectionEnds& ends);

} // namespace vitrel
