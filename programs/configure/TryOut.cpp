#include "programs/configure/TryOut.h"

#include <utility>

namespace vitrel {

TryOut::TryOut(RunLoop& loop, std::string program)
    : loop_(loop)
    , program_(std::move(program))
{ }

bool TryOut::begin(const std::string& path)
{
    if (process_ || path.empty())
        return false;
    // All displays, whatever the saver covers when it starts by itself.
    process_ = ChildProcess::start(loop_, ChildProcess::Kind::companion, program_,
        {"vitrel", "play", "--no-fade", "--monitors", "all", "--file", path}, -1, [this](int) {
            process_.reset();
            if (onChange)
                onChange();
        });
    if (process_ && onChange)
        onChange();
    return process_ != nullptr;
}

} // namespace vitrel
