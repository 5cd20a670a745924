#pragma once

#include "base/Clock.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace vitrel {

struct QueueSurroundings;

// Texts as command lines of /bin/sh. Nothing is quoted here: shellQuoted does it for a single word. Each command has a
// process group of its own, so that a time limit ends also what it has started; its input is empty.

enum class ShellCommandStatus : std::int64_t {
    success = 0,
    successButNoAvailableDataReturnedEmpty = 1,
    terminated = 2,
    runExceptionError = 3,
};
std::optional<ShellCommandStatus> makeShellCommandStatus(std::int64_t rawValue);
std::string description(ShellCommandStatus status); // "Success with no available data"

struct ShellCommandResult {
    std::optional<std::string> output;
    std::string errorLog;
    ShellCommandStatus status = ShellCommandStatus::success;
};

// Of the output so many bytes are kept; what follows is read and dropped, so that the command goes on.
constexpr std::size_t kMostShellOutput = 16u << 20;

// Runs `command` and waits for its end, at most `timeout` seconds, 10 if that is 0; it is looked at ten times a second.
// Then its group is asked to end and a second later made to. Standard error goes to ours if `logErrors`, else nowhere.
// The output is UTF-8: bytes that are none become U+FFFD. It counts as whole when the command has ended, though a
// process that it left behind may hold the pipe. A command that ends with another status than 0 is no failure here but
// for a line on standard output. Any thread; `surroundings` give the log.
ShellCommandResult runShellCommand(
    const QueueSurroundings& surroundings, const std::string& command, bool logErrors, double timeout);
// The output alone, with 10 seconds.
std::optional<std::string> runShellScript(const QueueSurroundings& surroundings, const std::string& command);
// Returns at once. Runs on the user-initiated queue, without a limit whatever `timeout` says; `handle` is then called
// in a turn of the loop, with the output and whether the status was another than 0. Any thread; the surroundings' loop
// and queue must outlive the command.
void runShellScriptAsync(const QueueSurroundings& surroundings, const std::string& command, bool logErrors,
    double timeout, std::function<void(const std::string& output, bool failed)> handle);

// As one word of a command line, whatever is in it. A NUL would end the command and is left out. Any thread.
std::string shellQuoted(const std::string& word);

} // namespace vitrel
