#pragma once

#include "platform/foundation/RunLoop.h"
#include "support/FolderContentMonitor.h"

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace vitrel {

// Tells when files change: have new contents, also when an editor put another file in the place, go or come back.
// Several writes in a row are told once, a moment after the last. Main thread.
class FileWatch
{
public:
    // `loop` must outlive it. Of a link, also the file that it leads to now. Where the system can't watch, nothing is
    // ever told.
    FileWatch(RunLoop& loop, const std::string& path, std::function<void()> onChange);
    // Of many files, full paths; `onChange` is given those that changed.
    FileWatch(RunLoop& loop, std::vector<std::string> paths,
        std::function<void(const std::set<std::string>& paths)> onChange);
    ~FileWatch();
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

private:
    void heard(const Event& event);

    RunLoop& loop_;
    const std::function<void(const std::set<std::string>&)> onChange_;
    std::set<std::string> changed_;
    std::shared_ptr<NSTimer> timer_;
    FolderContentMonitor monitor_;
};

} // namespace vitrel
