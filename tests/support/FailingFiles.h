#pragma once

#include "platform/foundation/FileSystem.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>

namespace vitrel {

// Fails the n-th of the calls that change something, and every later one if the disk is full.
class FailingFiles final : public FileSystem
{
public:
    int open(const char* path, int flags, unsigned mode) override
    {
        return flags & O_CREAT && fails() ? -1 : FileSystem::open(path, flags, mode);
    }
    ssize_t write(int fd, const void* data, std::size_t size) override
    {
        if (fails()) { // half of it went out
            [[maybe_unused]] const auto half = FileSystem::write(fd, data, size / 2);
            errno = ENOSPC;
            return -1;
        }
        return FileSystem::write(fd, data, std::min(size, mostAtOnce));
    }
    int fsync(int fd) override { return fails() ? -1 : FileSystem::fsync(fd); }
    int rename(const char* from, const char* to) override { return fails() ? -1 : FileSystem::rename(from, to); }

    int calls = 0, failAt = 0;
    bool isFull = false;
    std::size_t mostAtOnce = -1; // what a write takes

private:
    bool fails()
    {
        if (++calls != failAt && !isFull)
            return false;
        errno = ENOSPC;
        return true;
    }
};

} // namespace vitrel
