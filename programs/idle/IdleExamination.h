#pragma once

#include "platform/foundation/RunLoop.h"

#include <string>

namespace vitrel {

// Who starts the saver on this desktop when it is idle, or could.
struct IdleExamination {
    enum class State {
        Waiting, // vitrel idle runs
        Other, // another program waits, which can start it
        Possible, // the desktop tells of idleness, and nobody listens
        Impossible,
    };
    State state = State::Impossible;
    std::string by; // Other: that program; Possible: what tells of idleness
    std::string advice; // Other: the line that has it start the saver; Impossible: what is missing
    std::string locker; // a program that locks; empty if none is seen
};

// Asks the desktop, which may take a while, and changes nothing.
IdleExamination examineIdleness(RunLoop& loop);

// The same as lines of a name, a tab and a value, for programs: state, by, advice, locker. Those that are empty are
// left out.
std::string idleExaminationText(const IdleExamination& examination);
// Reads them; what isn't understood counts for nothing.
IdleExamination idleExaminationInText(const std::string& text);

} // namespace vitrel
