#pragma once

#include "base/Clock.h"
#include "platform/scriptingbridge/Artwork.h"

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace vitrel {

class Queue;
class RunLoop;

// The artwork of one track at a time, read and decoded on a queue. What was wanted before is given up at once. A file
// that isn't there yet, or not whole, is tried again for some seconds. Of one track a smaller picture never takes the
// place of a larger one. The files of the last few pictures are kept, for a way back. Main thread.
class ArtworkLoader
{
public:
    // `onChange` is called in a turn of the loop when the picture has come, or has been given up. Loop and queue must
    // outlive this. `reader` as for fetchArtwork.
    ArtworkLoader(RunLoop& loop, Queue& queue, ArtworkReader reader, std::function<void()> onChange);
    ~ArtworkLoader();
    ArtworkLoader(const ArtworkLoader&) = delete;
    ArtworkLoader& operator=(const ArtworkLoader&) = delete;

    // The picture at `address` as that of the track `identity`, which is read anew for each track: players write one
    // cover after the other to the same file. Nothing happens if it is the one that is wanted already. With an empty
    // address none is wanted.
    void want(const std::string& identity, const std::string& address);

    // The best picture of the wanted track so far.
    const FetchedArtwork& artwork() const { return best_; }
    // It has neither come nor been given up.
    bool isPending() const { return isPending_; }
    // It is being read right now.
    bool isReading() const { return stop_ != nullptr; }

private:
    struct Kept {
        std::string identity, address;
        std::shared_ptr<const Bytes> bytes;
    };
    void read(int attempt);
    void came(int attempt, FetchedArtwork artwork);
    void giveUp();
    void keep(const std::shared_ptr<const Bytes>& bytes);
    bool isWanted(const Kept& one) const { return one.identity == identity_ && one.address == address_; }
    std::shared_ptr<const Bytes> keptBytes() const;

    RunLoop& loop_;
    Queue& queue_;
    const ArtworkReader reader_;
    const std::function<void()> onChange_;
    std::string identity_, address_;
    FetchedArtwork best_;
    bool isPending_ = false;
    std::deque<Kept> kept_; // the newest in front
    std::shared_ptr<std::atomic<bool>> stop_; // of what is being read
    std::shared_ptr<int> wanted_; // as long as what is wanted stays the same
};

} // namespace vitrel
