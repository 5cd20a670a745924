#pragma once

#include "base/Clock.h"

namespace vitrel {

// Whether the edges of what a composition draws are smoothed by several samples for each pixel. On a graphics card they
// are; the processor does it for what stands still, and for what moves where pictures are cheap. Knows only how long
// pictures took. One thread at a time.
class EdgeSmoothing
{
public:
    static constexpr int kSamples = 4;

    // For the next picture: true if its edges are to be smoothed.
    bool wanted(bool rests, bool byProcessor) const { return edges_ && (rests || !byProcessor || affordable_); }

    // After each picture: whether it had edges that samples would smooth, and for one of something that moves how long
    // it took with those that it had.
    void sawEdges() { edges_ = true; }
    void drew(bool smoothed, Seconds took);

    // Before another composition.
    void forget() { *this = {}; }

private:
    bool edges_ = false, affordable_ = false, triedInVain_ = false;
    int pictures_ = 0;
    Seconds sum_{0};
};

} // namespace vitrel
