#include "platform/messagebus/BusProbe.h"

#include "base/Text.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace vitrel {
namespace {

// A bus that is well answers within one, and then nobody need wait for a turn; the rest is for a machine with much to
// do.
constexpr int kAtOnce = 100; // milliseconds

// -1 if nobody listens.
int connectedTo(const std::string& path)
{
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (path.empty() || path.size() >= sizeof address.sun_path)
        return -1;
    std::memcpy(address.sun_path, path.data(), path.size());
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const bool isAbstract = path.front() == '\0';
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + path.size() + (isAbstract ? 0 : 1));
    if (socket >= 0 && ::connect(socket, reinterpret_cast<const sockaddr*>(&address), length) == 0)
        return socket;
    if (socket >= 0)
        close(socket);
    return -1;
}

} // namespace

std::optional<std::string> BusProbe::socketOf(const std::string& address)
{
    std::string_view first(address);
    first = first.substr(0, first.find(';'));
    constexpr std::string_view kUnix = "unix:";
    if (!first.starts_with(kUnix))
        return std::nullopt;
    first.remove_prefix(kUnix.size());
    while (!first.empty()) {
        const auto pair = first.substr(0, first.find(','));
        first.remove_prefix(std::min(pair.size() + 1, first.size()));
        for (const auto& [key, beginning] : {std::pair("path=", std::string()), {"abstract=", std::string(1, '\0')}})
            if (pair.starts_with(key))
                return beginning + percentDecoded(pair.substr(std::strlen(key)));
    }
    return std::nullopt;
}

BusProbe::BusProbe(RunLoop& loop, const std::string& socket, Seconds patience)
    : loop_(loop)
    , socket_(connectedTo(socket))
{
    // Refused or not, an answer is one.
    constexpr std::string_view kFirstLine("\0AUTH\r\n", 7);
    if (socket_ < 0 || ::send(socket_, kFirstLine.data(), kFirstLine.size(), MSG_NOSIGNAL) < 0) {
        answer_ = false;
        return;
    }
    pollfd wait{socket_, POLLIN, 0};
    if (poll(&wait, 1, kAtOnce) > 0) {
        answer_ = true;
        return;
    }
    loop_.watch(socket_, POLLIN, [this](short) { end(true); });
    timer_ = loop_.scheduledTimer(patience, false, [this] { end(false); });
}

BusProbe::~BusProbe()
{
    send(timer_, &NSTimer::invalidate);
    if (socket_ < 0)
        return;
    loop_.unwatch(socket_);
    close(socket_);
}

void BusProbe::end(bool answers)
{
    if (answer_)
        return;
    answer_ = answers;
    loop_.unwatch(socket_);
    if (const auto callback = onAnswer)
        callback(answers);
}

} // namespace vitrel
