#pragma once

#include "music/CoverShelf.h"
#include "platform/foundation/Value.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace vitrel {

class NSImage;
class Queue;
class RunLoop;

// The covers of this evening for a composition that asks for them: those that the shelf kept from before, and each that
// has been shown since, small, the newest first, each once. Main thread; what takes time is done on a queue.
class EveningCovers
{
public:
    // The input's key. Its value is a list of images.
    static constexpr const char* kInput = "Covers_This_Evening";
    // Pixels of a side.
    static constexpr int kSide = 256;

    // `onChange` is called in a turn of the loop when there are others. Loop and queue must outlive it.
    EveningCovers(RunLoop& loop, Queue& queue, std::function<void()> onChange);
    ~EveningCovers();
    EveningCovers(const EveningCovers&) = delete;
    EveningCovers& operator=(const EveningCovers&) = delete;

    // Where they are kept; null: here alone.
    void setShelf(std::shared_ptr<CoverShelf> shelf) { shelf_ = std::move(shelf); }
    // A composition asks for them, from now on.
    void want();
    // The cover of the track that plays; null for one without. Nothing is done for the one that was shown last.
    void show(const std::shared_ptr<const NSImage>& cover);
    // As the input takes them.
    Value covers() const;

private:
    struct Cover {
        std::shared_ptr<const NSImage> image;
        std::size_t mark = 0; // of its bytes
    };
    struct Life;
    void came(std::vector<Cover> before);
    void add(Cover cover);

    RunLoop& loop_;
    Queue& queue_;
    const std::function<void()> onChange_;
    std::shared_ptr<CoverShelf> shelf_;
    std::shared_ptr<Life> life_;
    std::shared_ptr<const NSImage> shown_;
    std::vector<Cover> covers_;
    bool isWanted_ = false;
};

} // namespace vitrel
