#pragma once

#include "base/Bytes.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vitrel {

class NSImage;
class Queue;
class RunLoop;
class SBArtwork;

// The base64 text of an artwork, encoded anew: what goes out is a plain JPEG, or PNG where something shines through, of
// at most `kLongestSide` pixels a side, whatever a player has come up with. Null without a picture. Blocks for some ten
// milliseconds. Any thread.
std::shared_ptr<const std::string> coverText(const NSImage* artwork);

// Covers made ready on a queue, each once; the last few are kept. Main thread.
class Covers
{
public:
    static constexpr int kLongestSide = 1200; // pixels

    // `onReady` is called in a turn of the loop when a cover has come that wasn't there when it was asked for. Loop and
    // queue must outlive this.
    Covers(RunLoop& loop, Queue& queue, std::function<void()> onReady);

    struct Cover {
        std::shared_ptr<const std::string> text; // null if it is no picture
    };
    // Absent if it isn't ready yet: then it is being made.
    std::optional<Cover> find(const std::shared_ptr<SBArtwork>& artwork);

private:
    struct Entry {
        std::weak_ptr<const Bytes> artwork; // which one it is
        std::optional<Cover> cover;
    };

    RunLoop& loop_;
    Queue& queue_;
    std::function<void()> onReady_;
    std::deque<std::shared_ptr<Entry>> entries_; // the last used in front
    std::shared_ptr<int> alive_ = std::make_shared<int>();
};

} // namespace vitrel
