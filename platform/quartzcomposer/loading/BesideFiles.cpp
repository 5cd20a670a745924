#include "platform/quartzcomposer/loading/BesideFiles.h"

#include "base/Text.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vitrel::qc {

namespace {

constexpr int kMostEntries = 10'000, kMostLevels = 8;
constexpr std::array kPictures = {".png", ".jpg", ".jpeg", ".gif", ".webp", ".tif", ".tiff"};

std::vector<std::string> partsOf(std::string_view name)
{
    std::vector<std::string> parts;
    for (std::size_t at = 0; at <= name.size();) {
        const std::size_t end = std::min(name.find('/', at), name.size());
        if (const auto part = name.substr(at, end - at); !part.empty() && part != ".")
            parts.emplace_back(part);
        at = end + 1;
    }
    return parts;
}

// A folder in another, never through a link.
int opened(int in, const char* name)
{
    return openat(in, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

class Lister
{
public:
    explicit Lister(const Listing& what)
        : what_(what)
    { }
    // Takes the descriptor.
    void list(int descriptor, const std::string& path, int level)
    {
        const std::unique_ptr<DIR, int (*)(DIR*)> folder(fdopendir(descriptor), closedir);
        if (!folder) {
            close(descriptor);
            return;
        }
        while (const dirent* entry = readdir(folder.get())) {
            if (++entries_ > kMostEntries)
                return;
            const std::string name(entry->d_name);
            if (name.starts_with('.'))
                continue;
            struct stat state {
            };
            if (fstatat(dirfd(folder.get()), name.c_str(), &state, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            if (S_ISREG(state.st_mode) && (!what_.images || isPictureName(name)))
                found.push_back(path + "/" + name);
            if (S_ISDIR(state.st_mode) && what_.recursive && level < kMostLevels)
                if (const int inner = opened(dirfd(folder.get()), name.c_str()); inner >= 0)
                    list(inner, path + "/" + name, level + 1);
        }
    }
    std::vector<std::string> found;

private:
    static bool isPictureName(const std::string& name)
    {
        const std::string lower = asciiLowercase(name);
        return std::any_of(kPictures.begin(), kPictures.end(), [&](const char* end) { return lower.ends_with(end); });
    }
    const Listing what_;
    int entries_ = 0;
};

} // namespace

std::optional<std::string> nameBeneath(const std::string& folder, const std::string& path)
{
    std::string_view name = path;
    if (folder.empty() || name.find('\0') != name.npos)
        return std::nullopt;
    if (name.starts_with("file:")) {
        name.remove_prefix(5);
        if (name.starts_with("//")) { // and a host, which must be none
            name.remove_prefix(2);
            if (!name.starts_with('/'))
                return std::nullopt;
        }
    }
    if (name.starts_with(folder + "/"))
        name.remove_prefix(folder.size() + 1);
    const auto colon = name.find(':');
    const bool hasScheme = colon != name.npos && name.substr(colon).starts_with("://");
    if (name.empty() || name.front() == '/' || name.front() == '~' || hasScheme)
        return std::nullopt;
    std::string clean;
    for (const std::string& part : partsOf(name)) {
        if (part == "..")
            return std::nullopt;
        clean += (clean.empty() ? "" : "/") + part;
    }
    return clean.empty() ? "." : clean;
}

std::optional<std::vector<std::string>> filesBeneath(
    const std::string& folder, const std::string& name, const Listing& what)
{
    const auto parts = partsOf(name);
    if (std::find(parts.begin(), parts.end(), "..") != parts.end())
        return std::nullopt;
    int at = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    std::string path = folder;
    for (const std::string& part : parts) {
        if (at < 0)
            break;
        const int inner = opened(at, part.c_str());
        close(at);
        at = inner;
        path += "/" + part;
    }
    if (at < 0)
        return std::nullopt;
    Lister lister(what);
    lister.list(at, path, 1);
    std::sort(lister.found.begin(), lister.found.end());
    return std::move(lister.found);
}

} // namespace vitrel::qc
