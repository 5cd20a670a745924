#pragma once

#include "base/Bytes.h"
#include "base/Result.h"

#include <string>
#include <utility>

#include <sys/stat.h>
#include <sys/types.h>

namespace vitrel {

// The calls to the system that whole files are read and written with (Files.h), under their own names and with their
// own answers, so that a test can make the n-th of them fail. Any thread.
class FileSystem
{
public:
    virtual ~FileSystem() = default;
    virtual int open(const char* path, int flags, unsigned mode);
    // Beneath a folder's descriptor and through no link; ENOSYS where the kernel can't. Linux, openat2(2).
    virtual int openBeneath(int folder, const char* path, int flags);
    virtual int close(int fd);
    virtual ssize_t read(int fd, void* buffer, std::size_t size);
    virtual ssize_t write(int fd, const void* data, std::size_t size);
    virtual int fstat(int fd, struct ::stat* status);
    virtual int stat(const char* path, struct ::stat* status);
    virtual int fsync(int fd);
    virtual int flock(int fd, int operation);
    virtual int rename(const char* from, const char* to);
    virtual int unlink(const char* path);
};

// A file's descriptor that closes itself. Negative if it couldn't be opened.
class FileDescriptor
{
public:
    FileDescriptor(FileSystem& files, int fd)
        : files_(files)
        , fd_(fd)
    { }
    ~FileDescriptor()
    {
        if (fd_ >= 0)
            files_.close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }

private:
    FileSystem& files_;
    int fd_;
};

// All of an open file, or errno. EFBIG above `limit`. `expected` saves memory where it is the size.
Result<Bytes, int> readAll(FileSystem& files, int fd, std::size_t limit, std::size_t expected = 0);
// 0, or errno.
int writeAll(FileSystem& files, int fd, ByteView data);

} // namespace vitrel
