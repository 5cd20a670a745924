#include "programs/idle/IdleExamination.h"

#include "programs/idle/IdleSource.h"
#include "programs/idle/OtherSavers.h"

#include <algorithm>

namespace vitrel {

IdleExamination examineIdleness(RunLoop& loop)
{
    using State = IdleExamination::State;
    IdleExamination found;
    const auto savers = otherSavers();
    const auto first = [&](auto is) { return std::find_if(savers.begin(), savers.end(), is); };
    const auto starter = first([](const OtherSaver& saver) { return !saver.advice.empty(); });
    const auto waiting = first([](const OtherSaver& saver) { return saver.program == "vitrel-idle"; });
    const auto locker = first([](const OtherSaver& saver) { return saver.locks; });
    if (locker != savers.end())
        found.locker = locker->program;
    if (starter != savers.end()) {
        found.state = State::Other;
        found.by = starter->program;
        found.advice = starter->advice;
    } else if (waiting != savers.end()) {
        found.state = State::Waiting;
    } else if (const auto source = idleSourceHere(loop); source.name.empty()) {
        found.advice = source.advice;
    } else {
        found.state = State::Possible;
        found.by = source.name;
    }
    return found;
}

} // namespace vitrel
