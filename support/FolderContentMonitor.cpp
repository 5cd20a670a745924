#include "support/FolderContentMonitor.h"

#include <utility>

namespace vitrel {

std::string Event::description() const
{
    return std::to_string(eventId) + " - " + std::to_string(eventFlags) + " - " + eventPath;
}

std::string FSEventFlag::description() const
{
    static constexpr std::pair<FSEventFlag, const char*> kNames[] = {
        {isDirectory, "isDir"},
        {isFile, "isFile"},
        {isHardlink, "isHardlink"},
        {isLastHardlink, "isLastHardlink"},
        {isSymlink, "isSymlink"},
        {created, "created"},
        {modified, "modified"},
        {removed, "removed"},
        {renamed, "renamed"},
        {changeOwner, "changeOwner"},
        {finderInfoModified, "finderInfoModified"},
        {inodeMetaModified, "inodeMetaModified"},
        {xattrsModified, "xattrsModified"},
    };
    std::string out;
    for (const auto& [flag, name] : kNames) {
        if (contains(flag))
            out += (out.empty() ? "" : ", ") + std::string(name);
    }
    return out;
}

const FSEventStreamCallback FolderContentMonitor::eventCallback
    = [](FSEventStream*, void* info, std::size_t count, const std::vector<std::string>& paths,
          const FSEventStreamEventFlags flags[], const FSEventStreamEventId ids[]) {
          auto& monitor = *static_cast<FolderContentMonitor*>(info);
          const std::weak_ptr alive(monitor.alive_);
          // What is called may end the monitor or stop the stream.
          const auto stream = monitor.streamRef_;
          const auto callback = monitor.callback_;
          for (std::size_t k = 0; k < count && !alive.expired(); ++k)
              callback({ids[k], paths[k], flags[k]});
          if (count > 0 && !alive.expired())
              monitor.lastEventId_ = ids[count - 1];
      };

FolderContentMonitor::FolderContentMonitor(RunLoop& loop, std::vector<std::string> pathsToWatch,
    FSEventStreamEventId sinceWhen, std::function<void(const Event&)> callback, std::string stateFolder)
    : loop_(loop)
    , callback_(std::move(callback))
    , pathsToWatch_(std::move(pathsToWatch))
    , stateFolder_(std::move(stateFolder))
    , lastEventId_(sinceWhen)
{ }

FolderContentMonitor::~FolderContentMonitor()
{
    stop();
}

void FolderContentMonitor::start()
{
    if (started_)
        return;
    streamRef_ = std::make_shared<FSEventStream>(eventCallback, this, pathsToWatch_, lastEventId_, 0.0,
        kFSEventStreamCreateFlagUseCFTypes | kFSEventStreamCreateFlagFileEvents, stateFolder_);
    streamRef_->scheduleWithRunLoop(loop_);
    streamRef_->start();
    started_ = true;
}

void FolderContentMonitor::stop()
{
    if (!started_)
        return;
    streamRef_->stop();
    streamRef_->invalidate();
    streamRef_.reset();
    started_ = false;
}

} // namespace vitrel
