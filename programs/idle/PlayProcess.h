#pragma once

#include "programs/child/ChildProcess.h"
#include "programs/idle/IdlePlay.h"

#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// The saver's own program as the player: `vitrel play` with what else the user gave. Main thread.
class PlayProcess final : public IdlePlayer
{
public:
    PlayProcess(RunLoop& loop, std::string program, std::vector<std::string> arguments);

    bool start() override;
    void stop() override;

private:
    RunLoop& loop_;
    const std::string program_;
    std::vector<std::string> words_;
    std::shared_ptr<ChildProcess> process_;
};

} // namespace vitrel
