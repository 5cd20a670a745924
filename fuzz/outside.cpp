// What a hijacked process may send to the one outside.
#include "programs/outside/OutsideMessage.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace vitrel;
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return 0;
    OutsideSocket socket(ends[0]);
    // No more than the socket holds: nobody reads at the same time.
    const auto sent = ::send(ends[1], data, std::min<std::size_t>(size, 65536), MSG_DONTWAIT | MSG_NOSIGNAL);
    ::close(ends[1]);
    while (const auto message = sent >= 0 ? socket.receive(kFromWithin) : std::nullopt) {
        textOfFact(message->facts, "kind");
        numberOfFact(message->facts, "id");
    }
    return 0;
}
