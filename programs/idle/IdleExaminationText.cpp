// Apart from the examination: who reads what another process has found needs nothing of the desktop.
#include "programs/idle/IdleExamination.h"

#include <sstream>

namespace vitrel {
namespace {

constexpr std::pair<IdleExamination::State, const char*> kStates[] = {
    {IdleExamination::State::Waiting, "waiting"},
    {IdleExamination::State::Other, "other"},
    {IdleExamination::State::Possible, "possible"},
    {IdleExamination::State::Impossible, "impossible"},
};

} // namespace

std::string idleExaminationText(const IdleExamination& examination)
{
    std::string text;
    const auto add = [&](const char* name, const std::string& value) {
        if (!value.empty())
            text += name + ("\t" + value) + "\n";
    };
    for (const auto& [state, name] : kStates)
        add("state", state == examination.state ? name : "");
    add("by", examination.by);
    add("advice", examination.advice);
    add("locker", examination.locker);
    return text;
}

IdleExamination idleExaminationInText(const std::string& text)
{
    IdleExamination found;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const auto tab = line.find('\t');
        const std::string name = line.substr(0, tab), value = tab == line.npos ? "" : line.substr(tab + 1);
        for (const auto& [state, word] : kStates) {
            if (name == "state" && value == word)
                found.state = state;
        }
        for (const auto& [known, member] :
            {std::pair("by", &found.by), {"advice", &found.advice}, {"locker", &found.locker}}) {
            if (name == known)
                *member = value;
        }
    }
    return found;
}

} // namespace vitrel
