#include "FeedKit/xml/DescriptorInputStream.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace FeedKit {

DescriptorInputStream::DescriptorInputStream(int descriptor)
    : descriptor_(descriptor)
{
    struct stat file = {};
    if (::fstat(descriptor, &file) != 0 || !S_ISREG(file.st_mode))
        return;
    isFile_ = true;
    unread_ = static_cast<std::size_t>(std::max<off_t>(file.st_size, 0));
}

DescriptorInputStream::~DescriptorInputStream()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

std::ptrdiff_t DescriptorInputStream::read(std::uint8_t* buffer, std::size_t maxLength)
{
    std::ptrdiff_t count = 0;
    do
        count = ::read(descriptor_, buffer, maxLength);
    while (count < 0 && errno == EINTR);
    if (count < 0)
        error_ = errno;
    else
        unread_ -= std::min(unread_, static_cast<std::size_t>(count));
    return count;
}

StreamReadiness DescriptorInputStream::waitForBytes(std::chrono::milliseconds atMost)
{
    if (isFile_)
        return StreamReadiness::ready;
    pollfd wanted = {descriptor_, POLLIN, 0};
    // Whatever else happened, a read tells what.
    return ::poll(&wanted, 1, static_cast<int>(atMost.count())) == 0 ? StreamReadiness::waiting
                                                                     : StreamReadiness::ready;
}

std::string DescriptorInputStream::streamError() const
{
    return error_ == 0 ? std::string() : ::strerrordesc_np(error_);
}

} // namespace FeedKit
