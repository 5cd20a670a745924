#include "platform/foundation/Files.h"

#include "platform/foundation/UUID.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace vitrel {

namespace {

// Not after the file, whose name may be as long as names may be; never the same for two threads or processes; and not
// to be guessed, where others may write into the folder.
std::string nameBeside(const std::string& path)
{
    const auto slash = path.rfind('/');
    return path.substr(0, slash == path.npos ? 0 : slash + 1) + ".vitrel-" + UUIDString() + ".new";
}

// What was there stays with its owner; whoever may not give it away has no need to.
int keepOwnerAndMode(int fd, const struct ::stat& old, const struct ::stat& now)
{
    if ((old.st_uid != now.st_uid || old.st_gid != now.st_gid) && ::fchown(fd, old.st_uid, old.st_gid) != 0
        && errno != EPERM)
        return errno;
    return ::fchmod(fd, old.st_mode & 07777) == 0 ? 0 : errno;
}

int fill(FileSystem& files, int fd, ByteView bytes, const struct ::stat* old, bool lasting, struct ::stat& state)
{
    if (files.fstat(fd, &state) != 0)
        return errno;
    int error = old ? keepOwnerAndMode(fd, *old, state) : 0;
    if (!error)
        error = writeAll(files, fd, bytes);
    if (!error && lasting && files.fsync(fd) != 0)
        error = errno;
    return !error && files.fstat(fd, &state) != 0 ? errno : error;
}

// The number of the descriptor that a path names, whatever it leads to. Opened by name, a file behind it would be
// written from its head, and a socket couldn't be at all.
std::optional<int> descriptorNamed(const std::string& path)
{
    if (path == "/dev/stdout")
        return STDOUT_FILENO;
    if (path == "/dev/stderr")
        return STDERR_FILENO;
    for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
        int number = -1;
        const char* const last = path.data() + path.size();
        if (path.starts_with(folder) && std::from_chars(path.data() + folder.size(), last, number).ptr == last)
            return number;
    }
    return std::nullopt;
}

} // namespace

namespace {

constexpr int kReading = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY; // waits for nobody

Result<Bytes, int> readOpened(FileSystem& files, int descriptor, std::size_t limit)
{
    const FileDescriptor file(files, descriptor);
    struct ::stat state {
    };
    if (file.get() < 0 || files.fstat(file.get(), &state) != 0)
        return errno;
    if (!S_ISREG(state.st_mode))
        return EINVAL;
    if (static_cast<std::uint64_t>(state.st_size) > limit)
        return EFBIG;
    return readAll(files, file.get(), limit, static_cast<std::size_t>(state.st_size));
}

std::vector<std::string> partsOf(const std::string& name)
{
    std::vector<std::string> parts;
    for (std::size_t from = 0; from <= name.size();) {
        const auto end = std::min(name.find('/', from), name.size());
        if (end > from && name.compare(from, end - from, ".") != 0)
            parts.push_back(name.substr(from, end - from));
        from = end + 1;
    }
    return parts;
}

// For kernels before 5.6, and where a filter of system calls doesn't know the call.
int openStepByStep(FileSystem& files, int folder, const std::vector<std::string>& parts)
{
    int at = folder;
    for (std::size_t k = 0; k < parts.size(); ++k) {
        const bool isLast = k + 1 == parts.size();
        const int next
            = ::openat(at, parts[k].c_str(), O_NOFOLLOW | (isLast ? kReading : O_PATH | O_DIRECTORY | O_CLOEXEC));
        const int error = errno;
        if (at != folder)
            files.close(at);
        errno = error == ENOTDIR && !isLast ? EXDEV : error; // a link is no folder here
        if (next < 0)
            return -1;
        at = next;
    }
    return at;
}

} // namespace

Result<Bytes, int> readFileBeneath(const std::string& folder, const std::string& name, std::size_t limit)
{
    FileSystem files;
    return readFileBeneath(files, folder, name, limit);
}

Result<Bytes, int> readFileBeneath(
    FileSystem& files, const std::string& folder, const std::string& name, std::size_t limit)
{
    const auto parts = partsOf(name);
    if (name.starts_with('/') || name.find('\0') != name.npos || parts.empty()
        || std::find(parts.begin(), parts.end(), "..") != parts.end())
        return EXDEV;
    const FileDescriptor top(
        files, files.open(folder.empty() ? "." : folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
    if (top.get() < 0)
        return errno;
    int file = files.openBeneath(top.get(), name.c_str(), kReading);
    if (file < 0 && (errno == ENOSYS || errno == EPERM))
        file = openStepByStep(files, top.get(), parts);
    if (file < 0) // through a link, the first call says, or the second, or of a folder
        return errno == ELOOP ? EXDEV : errno;
    return readOpened(files, file, limit);
}

Result<Bytes, int> readFile(FileSystem& files, const std::string& path, std::size_t limit)
{
    return readOpened(files, files.open(path.c_str(), kReading, 0), limit);
}

Result<Bytes, int> readFile(const std::string& path, std::size_t limit)
{
    FileSystem files;
    return readFile(files, path, limit);
}

bool isPicture(ByteView bytes)
{
    using namespace std::string_view_literals;
    const std::string_view text = textOf(bytes.first(std::min<std::size_t>(bytes.size(), 16)));
    for (const std::string_view head :
        {"\x89PNG\r\n\x1A\n"sv, "\xFF\xD8\xFF"sv, "GIF87a"sv, "GIF89a"sv, "II*\0"sv, "MM\0*"sv})
        if (text.starts_with(head))
            return true;
    return text.starts_with("RIFF") && text.size() >= 12 && text.substr(8, 4) == "WEBP";
}

Result<struct ::stat, int> replaceFile(FileSystem& files, const std::string& path, ByteView bytes, FileReplacement how)
{
    struct ::stat old {
    }, state{};
    const bool wasThere = files.stat(path.c_str(), &old) == 0 && S_ISREG(old.st_mode);
    const std::string beside = nameBeside(path);
    int error = 0;
    {
        const FileDescriptor file(
            files, files.open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, how.mode));
        if (file.get() < 0)
            return errno;
        error = fill(files, file.get(), bytes, wasThere ? &old : nullptr, how.lasting, state);
    }
    if (!error && files.rename(beside.c_str(), path.c_str()) != 0)
        error = errno;
    if (error) {
        files.unlink(beside.c_str());
        return error;
    }
    if (how.lasting) {
        // The new name lasts once the folder is on the disk. The contents are whole either way, so this may fail.
        const auto slash = path.rfind('/');
        const std::string folder = slash == path.npos ? "." : path.substr(0, slash + 1);
        const FileDescriptor opened(files, files.open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
        if (opened.get() >= 0)
            files.fsync(opened.get());
    }
    return state;
}

int writeFile(const std::string& path, ByteView bytes, FileReplacement how)
{
    FileSystem files;
    if (const auto descriptor = descriptorNamed(path))
        return writeAll(files, *descriptor, bytes);
    struct ::stat state {
    };
    if (files.stat(path.c_str(), &state) == 0 && !S_ISREG(state.st_mode)) {
        const FileDescriptor file(files, files.open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY, 0));
        return file.get() < 0 ? errno : writeAll(files, file.get(), bytes);
    }
    char target[PATH_MAX];
    const auto replaced = replaceFile(files, ::realpath(path.c_str(), target) ? target : path, bytes, how);
    return replaced ? 0 : replaced.error();
}

std::string userFolder(UserFolder kind, std::string_view inside)
{
    struct Kind {
        const char *variable, *beneathHome;
    };
    constexpr Kind kinds[]
        = {{"XDG_CONFIG_HOME", "/.config"}, {"XDG_CACHE_HOME", "/.cache"}, {"XDG_STATE_HOME", "/.local/state"}};
    const auto& [variable, beneathHome] = kinds[static_cast<int>(kind)];
    const auto named = [](const char* name) {
        const char* folder = std::getenv(name);
        return folder && folder[0] == '/' ? std::string(folder) : std::string(); // else it counts as none
    };
    std::string folder = named(variable);
    if (folder.empty()) {
        folder = named("HOME");
        if (folder.empty())
            return {};
        folder += beneathHome;
    }
    folder += "/vitrel";
    return inside.empty() ? folder : folder.append("/").append(inside);
}

} // namespace vitrel
