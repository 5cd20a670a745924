#include "programs/preview/PreviewMessages.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace vitrel {
namespace {

union Control {
    cmsghdr header;
    char bytes[CMSG_SPACE(sizeof(int))];
};

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
    Control control{};
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
    if (got != ssize_t(sizeof message))
        return received;
    received.message = message;
    const cmsghdr* header = CMSG_FIRSTHDR(&whole);
    if (header && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS)
        std::memcpy(&received.descriptor, CMSG_DATA(header), sizeof(int));
    return received;
}

} // namespace vitrel
