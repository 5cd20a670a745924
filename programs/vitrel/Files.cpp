#include "programs/vitrel/Files.h"

#include <charconv>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace vitrel {

bool writeWhole(const std::string& path, ByteView bytes)
{
    const std::string beside = path + ".new";
    const int fd = open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0)
        return false;
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t wrote = write(fd, bytes.data() + done, bytes.size() - done);
        if (wrote <= 0)
            break;
        done += static_cast<std::size_t>(wrote);
    }
    const bool good = done == bytes.size() && fsync(fd) == 0;
    close(fd);
    if (good && std::rename(beside.c_str(), path.c_str()) == 0)
        return true;
    std::remove(beside.c_str());
    return false;
}

std::optional<std::pair<int, int>> parseSize(const std::string& text)
{
    constexpr int kMaxSide = 8192;
    std::pair<int, int> size;
    const char* end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.first);
    if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x')
        return std::nullopt;
    const auto height = std::from_chars(width.ptr + 1, end, size.second);
    const auto sound = [](int side) { return side >= 1 && side <= kMaxSide; };
    if (height.ec != std::errc() || height.ptr != end || !sound(size.first) || !sound(size.second))
        return std::nullopt;
    return size;
}

} // namespace vitrel
