#pragma once

#include "base/Clock.h"

namespace vitrel {

// How much smaller than the screen the pictures of a composition are drawn, so that what moves moves smoothly on a
// renderer that can't fill so many pixels in time. Knows only how long pictures took. One thread at a time.
class DrawingResolution
{
public:
    // Pixels of the screen for each pixel drawn, each way: 1 to 3.
    int divisor() const { return divisor_; }

    // After each picture of something that moves: how long it took from the first patch until it was handed over, and
    // the screen's rows. No fewer than 720 are drawn, unless the screen has no more.
    void drew(Seconds now, Seconds took, int rows);

    // Before another composition.
    void forget() { *this = {}; }

private:
    void judge(Seconds now, Seconds mean, int most);
    void change(Seconds now, int divisor);

    static constexpr int kSettling = 3; // pictures of a new size that pay for its memory, too

    int divisor_ = 1, pictures_ = -kSettling;
    Seconds sum_{0}; // of `pictures_`
    int before_ = 0; // the divisor ahead of a change to fewer pixels that isn't judged yet
    Seconds meanBefore_{0};
    Seconds changed_{0}, lowersFrom_{-1e9};
    Seconds patience_{10}; // with fewer pixels, before more are tried
    bool raised_ = false; // the last change was one to more pixels
};

} // namespace vitrel
