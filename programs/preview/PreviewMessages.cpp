#include "programs/preview/PreviewMessages.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
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

bool sendPreviewWords(int socket, std::string_view words)
{
    const int memory = words.size() <= kMostPreviewWords ? memfd_create("words", MFD_CLOEXEC | MFD_ALLOW_SEALING) : -1;
    if (memory < 0)
        return false;
    std::size_t written = 0;
    for (ssize_t got = 1; got > 0 && written<words.size(); written += got> 0 ? std::size_t(got) : 0)
        got = ::write(memory, words.data() + written, words.size() - written);
    // Sealed, so that the reader may trust its size.
    const bool sent = written == words.size() && fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK) == 0
        && sendPreviewMessage(socket, {PreviewMessage::words, std::uint32_t(words.size()), 0}, memory);
    ::close(memory);
    return sent;
}

std::string receivedPreviewWords(const PreviewMessage& message, int descriptor)
{
    std::string words;
    struct ::stat status {
    };
    const bool isSane = descriptor >= 0 && message.kind == PreviewMessage::words && message.a <= kMostPreviewWords
        && (fcntl(descriptor, F_GET_SEALS) & F_SEAL_SHRINK) != 0 && fstat(descriptor, &status) == 0
        && status.st_size >= off_t(message.a);
    words.resize(isSane ? message.a : 0);
    std::size_t read = 0;
    for (ssize_t got = 1; got > 0 && read<words.size(); read += got> 0 ? std::size_t(got) : 0)
        got = ::pread(descriptor, words.data() + read, words.size() - read, off_t(read));
    words.resize(read);
    if (descriptor >= 0)
        ::close(descriptor);
    return words;
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
