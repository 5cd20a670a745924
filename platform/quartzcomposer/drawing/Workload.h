#pragma once

#include <chrono>

namespace vitrel::qc {

// What a frame has given the driver to do, against the frame's end. Drivers put work off, so that a clock alone sees
// nothing: after so many pixels they have to finish, and then the clock is looked at. Main thread, with the context
// current.
class Workload
{
public:
    using Time = std::chrono::steady_clock::time_point;

    // A new frame: from `end` on the rest is left out.
    void begin(Time end);
    // Pixels that were, or are about to be, drawn, plainly.
    void spend(double pixels);
    bool isLate() const { return late_; }

    // As many as one look is worth.
    static constexpr double kPixels = 64e6;
    // A filter's pixel against a plain one.
    static constexpr double kFilter = 8;

private:
    Time end_ = Time::max();
    double pixels_ = 0;
    bool late_ = false;
};

} // namespace vitrel::qc
