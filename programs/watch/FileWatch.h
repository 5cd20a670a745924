#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vitrel {

// Tells when a file has new contents, also when an editor put another file in its place. Several writes in a row are
// told once, a moment after the last. Main thread.
class FileWatch
{
public:
    // `loop` must outlive it. Where the system can't watch, nothing is ever told.
    FileWatch(RunLoop& loop, const std::string& path, std::function<void()> onChange);
    ~FileWatch();
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

private:
    void watchFolderOf(const std::string& path);
    void read();

    RunLoop& loop_;
    const std::function<void()> onChange_;
    int descriptor_ = -1;
    std::vector<std::pair<int, std::string>> names_; // a folder's watch and the name in it
    std::shared_ptr<NSTimer> timer_;
};

} // namespace vitrel
