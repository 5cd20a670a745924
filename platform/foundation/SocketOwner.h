#pragma once

#include <optional>
#include <string_view>

#include <sys/socket.h>
#include <sys/types.h>

namespace vitrel {

// The two ends of a TCP connection, as the one who accepted it sees them.
struct ConnectionEnds {
    sockaddr_storage peer{}, own{};
};

// The user whose socket the other end is, if that lies on this machine; absent if it isn't found. Reads the kernel's
// lists of sockets, which takes the longer the more there are. Any thread.
std::optional<uid_t> ownerOfPeer(const ConnectionEnds& ends);

// The same in a list of the kernel's, /proc/net/tcp or tcp6.
std::optional<uid_t> ownerInSocketList(std::string_view list, const ConnectionEnds& ends);

} // namespace vitrel
