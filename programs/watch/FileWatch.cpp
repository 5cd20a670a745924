#include "programs/watch/FileWatch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <climits>

namespace vitrel {

namespace {

// Longer than the pauses between the writes of one saving, shorter than anyone waits for.
constexpr Seconds kQuiet{0.1};

} // namespace

FileWatch::FileWatch(RunLoop& loop, const std::string& path, std::function<void()> onChange)
    : loop_(loop)
    , onChange_(std::move(onChange))
    , descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    if (descriptor_ < 0)
        return;
    watchFolderOf(path);
    // A link may be changed, and the file that it leads to.
    char target[PATH_MAX];
    if (realpath(path.c_str(), target) && path != target)
        watchFolderOf(target);
    loop_.watch(descriptor_, POLLIN, [this](short) { read(); });
}

FileWatch::~FileWatch()
{
    if (timer_)
        timer_->invalidate();
    if (descriptor_ < 0)
        return;
    loop_.unwatch(descriptor_);
    close(descriptor_);
}

void FileWatch::watchFolderOf(const std::string& path)
{
    // The folder, as a watch of the file would stay with the old one when another takes its place.
    const auto slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int watch = inotify_add_watch(descriptor_, folder.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO);
    if (watch >= 0)
        names_.emplace_back(watch, path.substr(slash == std::string::npos ? 0 : slash + 1));
}

void FileWatch::read()
{
    alignas(inotify_event) char buffer[16384];
    bool changed = false;
    for (ssize_t size; (size = ::read(descriptor_, buffer, sizeof buffer)) > 0;) {
        for (ssize_t at = 0; at < size;) {
            inotify_event event;
            std::memcpy(&event, buffer + at, sizeof event);
            const std::string name = event.len ? buffer + at + sizeof event : "";
            changed |= event.mask & IN_Q_OVERFLOW
                || std::find(names_.begin(), names_.end(), std::pair(event.wd, name)) != names_.end();
            at += ssize_t(sizeof event + event.len);
        }
    }
    if (!changed)
        return;
    if (timer_)
        timer_->invalidate();
    timer_ = loop_.scheduledTimer(kQuiet, false, onChange_);
}

} // namespace vitrel
