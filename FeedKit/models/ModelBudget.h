#pragma once

#include <algorithm>
#include <cstddef>

namespace FeedKit {

// How much memory a model may take, measured against the input read so far. Real documents stay far below; one made
// to do harm turns seven bytes ("<item/>") into an object of four hundred, or a default of its DTD into a copy for each
// element. An estimate, not an account: sizes of objects and texts, without the allocator's own.
class ModelBudget
{
public:
    // Small documents may be as dense as they like; large ones hold at least as much text as objects. No model is
    // larger than leaves the input and the parser room within 256 MiB.
    static constexpr std::size_t kFree = 16u << 20;
    static constexpr std::size_t kPerInputByte = 2;
    static constexpr std::size_t kMost = 144u << 20;

    explicit ModelBudget(std::size_t most = kMost)
        : most_(most)
    { }

    void allowForInput(std::size_t bytes) { allowed_ += kPerInputByte * bytes; }
    // False once the model has become too large.
    bool take(std::size_t bytes)
    {
        taken_ += bytes;
        return taken_ <= std::min(allowed_, most_);
    }

private:
    std::size_t most_;
    std::size_t allowed_ = kFree;
    std::size_t taken_ = 0;
};

} // namespace FeedKit
