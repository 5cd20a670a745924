#pragma once

#include "platform/quartzcomposer/graph/Patch.h"

#include <functional>
#include <limits>
#include <string>
#include <unordered_map>
#include <vector>

namespace vitrel::qc {

// What each patch costs in the frames that it sees, without what it asks of others: a stop-watch for each. Drawing is
// put off and joined by whoever draws, so that the time of it would come to somebody else: what draws is waited for
// here, patch by patch, which makes a frame slower than it is. Main thread.
class FrameProfile final : public FrameObserver
{
public:
    using Clock = std::function<double()>; // seconds
    // `finish` comes back once all that was drawn is there.
    FrameProfile(Clock clock, std::function<void()> finish);

    struct Cost {
        std::string path, className; // "Outer/Inner"
        double evaluation = 0, drawing = 0; // seconds, of all frames
        std::uint64_t calls = 0; // it was computed or drawn
        std::uint64_t atOnce = 0; // calls in which it asked for the very next frame
        double soonest
            = std::numeric_limits<double>::infinity(); // seconds ahead that it asked for another; infinity: none
    };
    // The dearest first.
    std::vector<Cost> costs() const;

    void enters(const Patch& patch) override;
    void computes() override;
    void draws() override;
    void wishes(double when, double now) override;
    void leaves(const Patch& patch) override;

private:
    struct Running {
        const Patch* patch;
        bool draws = false, wishedAtOnce = false;
    };
    void lap();
    Cost& costOf(const Patch& patch);

    const Clock clock_;
    const std::function<void()> finish_;
    std::vector<Running> running_;
    std::unordered_map<const Patch*, Cost> costs_;
    double last_ = 0;
};

} // namespace vitrel::qc
