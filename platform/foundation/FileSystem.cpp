#include "platform/foundation/FileSystem.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vitrel {

int FileSystem::open(const char* path, int flags, unsigned mode)
{
    return ::open(path, flags, mode);
}
int FileSystem::openBeneath(int folder, const char* path, int flags)
{
    open_how how{};
    how.flags = static_cast<std::uint64_t>(flags);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    return static_cast<int>(::syscall(SYS_openat2, folder, path, &how, sizeof how));
}

int FileSystem::close(int fd)
{
    return ::close(fd);
}
ssize_t FileSystem::read(int fd, void* buffer, std::size_t size)
{
    return ::read(fd, buffer, size);
}
ssize_t FileSystem::write(int fd, const void* data, std::size_t size)
{
    return ::write(fd, data, size);
}
int FileSystem::fstat(int fd, struct ::stat* status)
{
    return ::fstat(fd, status);
}
int FileSystem::stat(const char* path, struct ::stat* status)
{
    return ::stat(path, status);
}
int FileSystem::fsync(int fd)
{
    return ::fsync(fd);
}
int FileSystem::flock(int fd, int operation)
{
    return ::flock(fd, operation);
}
int FileSystem::rename(const char* from, const char* to)
{
    return ::rename(from, to);
}
int FileSystem::unlink(const char* path)
{
    return ::unlink(path);
}

Result<Bytes, int> readAll(FileSystem& files, int fd, std::size_t limit, std::size_t expected)
{
    constexpr std::size_t kStep = 65536;
    Bytes bytes;
    std::size_t have = 0;
    for (;;) {
        if (have == bytes.size())
            bytes.resize(have < expected ? expected : have + kStep);
        const ssize_t got = files.read(fd, bytes.data() + have, bytes.size() - have);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return errno;
        have += static_cast<std::size_t>(got);
        if (have > limit)
            return EFBIG;
        if (got == 0 || have == expected)
            break;
    }
    bytes.resize(have);
    return bytes;
}

int writeAll(FileSystem& files, int fd, ByteView data)
{
    while (!data.empty()) {
        const ssize_t put = files.write(fd, data.data(), data.size());
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return put < 0 ? errno : ENOSPC;
        data = data.subspan(static_cast<std::size_t>(put));
    }
    return 0;
}

} // namespace vitrel
