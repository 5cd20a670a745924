#include "programs/saverlist/SaverListFile.h"

#include "platform/foundation/Files.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace vitrel {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxBytes = 1 << 20; // a full list of XScreenSaver has 20 kB
constexpr int kMaxLinks = 40; // as the kernel follows

// Where the file really is, or will be.
std::string behindLinks(const std::string& path)
{
    fs::path here = path;
    std::error_code error;
    for (int k = 0; k < kMaxLinks && fs::is_symlink(here, error); ++k)
        here = here.parent_path() / fs::read_symlink(here, error);
    return here.string();
}

std::string failure(int error)
{
    return std::strerror(error);
}

} // namespace

std::string saverListPath()
{
    const passwd* user = getpwuid(getuid());
    return user && user->pw_dir && *user->pw_dir ? std::string(user->pw_dir) + "/.xscreensaver" : "";
}

Result<std::optional<std::string>, std::string> readSaverListFile(FileSystem& files, const std::string& path)
{
    const auto bytes = readFile(files, path, kMaxBytes);
    if (!bytes) {
        switch (bytes.error()) {
        case ENOENT:
            return std::optional<std::string>();
        case EFBIG:
            return std::string("it is too large");
        case EINVAL:
            return std::string("it is no file");
        default:
            return failure(bytes.error());
        }
    }
    return std::optional<std::string>(std::string(bytes->begin(), bytes->end()));
}

std::string replaceSaverListFile(FileSystem& files, const std::string& path, const std::optional<std::string>& text)
{
    const std::string target = behindLinks(path);
    if (!text && target == path)
        return files.unlink(path.c_str()) == 0 ? "" : failure(errno);
    const auto replaced = replaceFile(files, target, bytesOf(text.value_or("")));
    return replaced ? "" : failure(replaced.error());
}

} // namespace vitrel
