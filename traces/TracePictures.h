#pragma once

#include "platform/foundation/Queue.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace vitrel {

class NSImage;

// The folder for the pictures of a trace: "trace.jsonl.images", beside the file itself if `trace` is a link to it.
std::string pictureFolderOf(const std::string& trace);

// Keeps the pictures of a trace there, each once, as "NAME.png", where NAME tells what is in it. They are encoded and
// written on a thread of its own, which starts with the first. Main thread.
class TracePictures
{
public:
    explicit TracePictures(std::string folder);
    // Waits for those that are on their way.
    ~TracePictures();

    // The picture's name. Empty for one that isn't kept: without pixels, while too many wait, and once the folder has
    // got all that it may from here.
    std::string keep(const std::shared_ptr<const NSImage>& image);

    static constexpr std::size_t kMostPictures = 2000, kMostWaiting = 16;
    static constexpr std::size_t kMostBytes = 512u << 20;

private:
    void write(const std::string& name, const std::shared_ptr<const NSImage>& image);

    struct Seen {
        std::weak_ptr<const NSImage> image;
        std::string name;
    };
    const std::string folder_;
    std::vector<Seen> seen_; // images that are alive, so that none is looked through twice
    std::set<std::string> kept_;
    std::mutex mutex_;
    std::condition_variable done_;
    std::size_t waiting_ = 0; // guarded by mutex_
    std::atomic<std::size_t> bytes_{0};
    PoolQueue queue_{1};
};

} // namespace vitrel
