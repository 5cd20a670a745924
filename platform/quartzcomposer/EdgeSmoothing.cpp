#include "platform/quartzcomposer/EdgeSmoothing.h"

namespace vitrel {

namespace {

constexpr int kJudged = 20; // pictures in a row
// A picture of samples takes some three times as long as one without.
constexpr Seconds kCheap{0.0025}, kDear{0.010};

} // namespace

void EdgeSmoothing::drew(bool smoothed, Seconds took)
{
    if (!edges_ || triedInVain_ || smoothed != affordable_)
        return;
    sum_ += took;
    if (++pictures_ < kJudged)
        return;
    const Seconds mean = sum_ / pictures_;
    pictures_ = 0;
    sum_ = Seconds(0);
    if (!affordable_) {
        affordable_ = mean < kCheap;
    } else if (mean > kDear) {
        affordable_ = false;
        triedInVain_ = true; // edges that come and go are worse than rough ones
    }
}

} // namespace vitrel
