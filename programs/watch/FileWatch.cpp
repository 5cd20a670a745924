#include "programs/watch/FileWatch.h"

#include <climits>
#include <cstdlib>

namespace vitrel {

namespace {

// Longer than the pauses between the writes of one saving, shorter than anyone waits for.
constexpr Seconds kQuiet{0.1};

// A link may be changed, and the file that it leads to.
std::vector<std::string> withTarget(const std::string& path)
{
    char target[PATH_MAX];
    if (realpath(path.c_str(), target) && path != target)
        return {path, target};
    return {path};
}

} // namespace

FileWatch::FileWatch(RunLoop& loop, const std::string& path, std::function<void()> onChange)
    : FileWatch(loop, withTarget(path), [onChange = std::move(onChange)](const auto&) { onChange(); })
{ }

FileWatch::FileWatch(
    RunLoop& loop, std::vector<std::string> paths, std::function<void(const std::set<std::string>& paths)> onChange)
    : loop_(loop)
    , onChange_(std::move(onChange))
    // Nobody asks for what was before.
    , monitor_(
          loop, std::move(paths), kFSEventStreamEventIdSinceNow, [this](const Event& event) { heard(event); }, "")
{
    monitor_.start();
}

FileWatch::~FileWatch()
{
    if (timer_)
        timer_->invalidate();
}

void FileWatch::heard(const Event& event)
{
    changed_.insert(event.eventPath);
    if (timer_)
        timer_->invalidate();
    timer_ = loop_.scheduledTimer(kQuiet, false, [this] {
        const auto onChange = onChange_; // may end this object
        onChange(std::exchange(changed_, {}));
    });
}

} // namespace vitrel
