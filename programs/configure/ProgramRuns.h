#pragma once

#include <QObject>

#include <functional>
#include <optional>
#include <string>
#include <vector>

class QProcess;

namespace vitrel {

// How another program ended.
struct ProgramRun {
    int code = 0;
    std::string output; // both streams, its first 64 KiB
};

// Runs a program with its words, the program's name or path first, and tells once how it ended; absent if it couldn't
// be started or took too long.
using RunProgram
    = std::function<void(const std::vector<std::string>& words, std::function<void(std::optional<ProgramRun>)> ended)>;

// Runs programs beside the window: no shell, nothing on their input, ten seconds at most. Those that still run end with
// it, and nothing more is told. Main thread.
class ProgramRuns : public QObject
{
public:
    ~ProgramRuns() override;
    void run(const std::vector<std::string>& words, std::function<void(std::optional<ProgramRun>)> ended);
    static constexpr int kPatience = 10000; // milliseconds

private:
    std::vector<QProcess*> running_;
};

} // namespace vitrel
