#pragma once

#include "platform/foundation/RunLoop.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

namespace vitrel {

// A loop whose time is in the test's hand while its children are real processes.
struct Children {
    ManualClock clock;
    RunLoop loop{clock};
    TemporaryFolder folder;

    // A program that is a few lines for the shell.
    std::string program(const std::string& lines) const
    {
        const std::string path = folder.write("program", "#!/bin/sh\n" + lines);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }
    // Turns the loop until it holds, `step` of its time at each turn. False if it never comes to that.
    bool until(const std::function<bool()>& holds, Seconds step = Seconds(0))
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!holds()) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            clock.time += step;
            if (loop.turn() == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(1)); // a process needs a moment
        }
        return true;
    }
    // How many lines the programs have left in a file.
    std::size_t lines(const std::string& name) const
    {
        const std::string text = TemporaryFolder::read(folder / name);
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    }
};

} // namespace vitrel
