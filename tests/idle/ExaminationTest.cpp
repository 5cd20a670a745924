#include "programs/idle/IdleExamination.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

using State = IdleExamination::State;

TEST(IdleExamination, IsReadByOthersAsItWasFound)
{
    for (const State state : {State::Waiting, State::Other, State::Possible, State::Impossible}) {
        const IdleExamination given{state, "swayidle", "swayidle -w 'vitrel play'", ""};
        const std::string text = idleExaminationText(given);
        EXPECT_EQ(text.find("locker"), text.npos);
        const auto read = idleExaminationInText(text);
        EXPECT_EQ(read.state, state) << text;
        EXPECT_EQ(read.by + read.advice + read.locker, given.by + given.advice);
    }
    for (const char* nonsense : {"", "state", "state\t", "state\twaits", "\twaiting", "\n\n\t\t\n", "state waiting"})
        EXPECT_EQ(idleExaminationInText(nonsense).state, State::Impossible) << nonsense;
}

} // namespace
} // namespace vitrel
