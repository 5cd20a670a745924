#pragma once

#include "platform/quartzcomposer/graph/Patch.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

class TimedPatch : public Patch
{
public:
    Kind kind() const override { return Kind::Timed; }

protected:
    // The outputs move on by themselves. With a time from outside they move only as that does.
    void moves(Evaluation& e) const
    {
        if (timebase != Timebase::External)
            e.needFrame();
    }
    void movesAfter(Evaluation& e, double seconds) const
    {
        if (timebase != Timebase::External && std::isfinite(seconds))
            e.needFrameAt(e.time + std::max(seconds, 0.0));
    }
};

} // namespace vitrel::qc
