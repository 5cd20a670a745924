#include "programs/saverlist/SaverListFile.h"

#include <fcntl.h>
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
    // A pipe would keep us waiting for a writer.
    const FileDescriptor file(files, files.open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0));
    if (file.get() < 0 && errno == ENOENT)
        return std::optional<std::string>();
    if (file.get() < 0)
        return failure(errno);
    struct stat status {
    };
    if (files.fstat(file.get(), &status) != 0)
        return failure(errno);
    if (!S_ISREG(status.st_mode))
        return std::string("it is no file");
    const auto bytes = readAll(files, file.get(), kMaxBytes);
    if (!bytes)
        return bytes.error() == EFBIG ? "it is too large" : failure(bytes.error());
    return std::optional<std::string>(std::string(bytes->begin(), bytes->end()));
}

std::string replaceSaverListFile(FileSystem& files, const std::string& path, const std::optional<std::string>& text)
{
    const std::string target = behindLinks(path);
    if (!text && target == path)
        return files.unlink(path.c_str()) == 0 ? "" : failure(errno);
    struct stat old {
    };
    const bool wasThere = files.stat(target.c_str(), &old) == 0;
    const std::string beside = target + ".vitrel-" + std::to_string(getpid());
    int error = 0;
    {
        const FileDescriptor file(
            files, files.open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
        if (file.get() < 0)
            return failure(errno);
        if (wasThere) {
            // Another's file, edited by root, stays theirs; whoever may not give it away has no need to.
            if (fchown(file.get(), old.st_uid, old.st_gid) != 0 && errno != EPERM)
                error = errno;
            if (fchmod(file.get(), old.st_mode & 07777) != 0)
                error = errno;
        }
        if (!error)
            error = writeAll(files, file.get(), bytesOf(text.value_or("")));
        if (!error && files.fsync(file.get()) != 0)
            error = errno;
    }
    if (!error && files.rename(beside.c_str(), target.c_str()) != 0)
        error = errno;
    if (!error)
        return {};
    files.unlink(beside.c_str());
    return failure(error);
}

} // namespace vitrel
