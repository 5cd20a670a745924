#include "programs/preview/PreviewMessages.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace vitrel {
namespace {

union Control {
    cmsghdr header;
    char bytes[CMSG_SPACE(sizeof(int))];
};

// Room for as many as a message can carry (SCM_MAX_FD): those that find none would be ours all the same.
union ReceivedControl {
    cmsghdr header;
    char bytes[CMSG_SPACE(sizeof(int) * 253)];
};

std::vector<int> descriptorsIn(msghdr& whole)
{
    std::vector<int> descriptors;
    for (cmsghdr* header = CMSG_FIRSTHDR(&whole); header; header = CMSG_NXTHDR(&whole, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS || header->cmsg_len < CMSG_LEN(0))
            continue;
        const std::size_t first = descriptors.size();
        descriptors.resize(first + (header->cmsg_len - CMSG_LEN(0)) / sizeof(int));
        std::memcpy(descriptors.data() + first, CMSG_DATA(header), (descriptors.size() - first) * sizeof(int));
    }
    return descriptors;
}

} // namespace

bool sendPreviewMessage(int socket, const PreviewMessage& message, int descriptor)
{
    PreviewMessage copy = message;
    iovec part{&copy, sizeof copy};
    Control control{};
    msghdr whole{};
    whole.msg_iov = &part;
    whole.msg_iovlen = 1;
    if (descriptor >= 0) {
        whole.msg_control = control.bytes;
        whole.msg_controllen = sizeof control.bytes;
        cmsghdr* header = CMSG_FIRSTHDR(&whole);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof(int));
    }
    ssize_t sent = 0;
    do {
        sent = sendmsg(socket, &whole, MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == ssize_t(sizeof copy);
}

PreviewReceived receivePreviewMessage(int socket)
{
    PreviewMessage message;
    iovec part{&message, sizeof message};
    ReceivedControl control{};
    msghdr whole{};
    whole.msg_iov = &part;
    whole.msg_iovlen = 1;
    whole.msg_control = control.bytes;
    whole.msg_controllen = sizeof control.bytes;
    ssize_t got = 0;
    do {
        got = recvmsg(socket, &whole, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    } while (got < 0 && errno == EINTR);
    PreviewReceived received;
    received.closed = got == 0 || (got < 0 && errno != EAGAIN && errno != EWOULDBLOCK);
    const auto descriptors = got < 0 ? std::vector<int>() : descriptorsIn(whole);
    if (got == ssize_t(sizeof message) && (whole.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) == 0 && descriptors.size() < 2) {
        received.message = message;
        received.descriptor = descriptors.empty() ? -1 : descriptors.front();
    } else {
        for (const int descriptor : descriptors)
            ::close(descriptor);
    }
    return received;
}

} // namespace vitrel
