#include "music/CoverShelf.h"

#include "platform/foundation/FileSystem.h"
#include "platform/foundation/Files.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

namespace vitrel {

namespace {

// Two pictures of one name would be one cover too few; it protects nothing.
std::string nameOf(ByteView picture)
{
    std::uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    for (const auto byte : picture)
        hash = (hash ^ static_cast<std::uint8_t>(byte)) * 0x100000001b3;
    char name[64];
    std::snprintf(name, sizeof name, "%016" PRIx64 "-%zu.cover", hash, picture.size());
    return name;
}

} // namespace

std::string CoverFolder::usersFolder()
{
    return userFolder(UserFolder::Cache, "evening");
}

void CoverFolder::keep(ByteView picture)
{
    if (folder_.empty() || picture.size() > kLargest || !isPicture(picture))
        return;
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    const std::string path = folder_ + "/" + nameOf(picture);
    struct stat there {
    };
    if (::lstat(path.c_str(), &there) != 0 || there.st_size != static_cast<off_t>(picture.size())) {
        FileSystem files;
        if (!replaceFile(files, path, picture, {.mode = 0600, .lasting = false}))
            return;
    }
    const double date = clock_.date().secondsSince1970;
    timespec times[2];
    times[0].tv_sec = times[1].tv_sec = static_cast<time_t>(date);
    times[0].tv_nsec = times[1].tv_nsec = static_cast<long>((date - std::floor(date)) * 1e9);
    ::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
    tidy();
}

std::vector<Bytes> CoverFolder::covers(const std::atomic<bool>& stop)
{
    std::vector<Bytes> all;
    const double evening = clock_.date().secondsSince1970 - kEvening.count();
    for (const Kept& one : kept()) {
        if (stop)
            return {};
        if (one.date < evening || all.size() == kMostCovers)
            break;
        auto bytes = readFile(one.path, kLargest);
        if (bytes && isPicture(*bytes))
            all.push_back(*std::move(bytes));
    }
    return all;
}

std::vector<CoverFolder::Kept> CoverFolder::kept() const
{
    constexpr std::size_t kMostLookedAt = 10'000;
    std::vector<Kept> all;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder_, error), end;
         !error && entry != end && all.size() < kMostLookedAt; entry.increment(error)) {
        struct stat state {
        };
        const std::string path = entry->path();
        if (path.ends_with(".cover") && ::lstat(path.c_str(), &state) == 0 && S_ISREG(state.st_mode))
            all.push_back({path, double(state.st_mtim.tv_sec) + 1e-9 * double(state.st_mtim.tv_nsec),
                static_cast<std::size_t>(state.st_size)});
    }
    std::stable_sort(all.begin(), all.end(), [](const Kept& a, const Kept& b) { return a.date > b.date; });
    return all;
}

void CoverFolder::tidy() const
{
    const double evening = clock_.date().secondsSince1970 - kEvening.count();
    std::size_t count = 0, bytes = 0;
    for (const Kept& one : kept()) {
        bytes += one.bytes;
        if (++count > kMostCovers || bytes > kMostBytes || one.date < evening)
            ::unlink(one.path.c_str());
    }
}

} // namespace vitrel
