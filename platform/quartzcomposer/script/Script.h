#pragma once

#include "base/Result.h"
#include "platform/quartzcomposer/script/ScriptValue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

struct ScriptLimits {
    // Milliseconds of the thread's own processor time.
    double compileMilliseconds = 250;
    double runMilliseconds = 100;
    std::uint64_t seed = 0; // of Math.random
};

struct ScriptError {
    std::string message;
    std::uint32_t line = 0, column = 0; // from 1; 0: not known
};

// A plain JavaScript text with a function `main`, loaded and ready to be called. Scripts of one thread share an engine
// with 64 MiB of memory for all that they keep, and see nothing of each other. One that needs more is switched off for
// good; so is, in its place, another that keeps more than half of it. What looks at no interruption for half a second
// more than its time ends the process (ScriptRecord.h). Math.random gives scripts of one seed the same numbers, so that
// a composition can be repeated; print, log and alert do nothing. A script belongs to the thread that made it.
class Script
{
public:
    // Runs the text once, so that what stands outside of `main` is ready; it keeps its state from run to run. An error
    // if the text is no JavaScript, throws, uses up its time or memory, or has no `main`.
    static Result<std::unique_ptr<Script>, ScriptError> compile(std::string_view source, ScriptLimits limits = {});
    // Why the text is no JavaScript; absent if it is. Nothing of it is run.
    static std::optional<ScriptError> check(std::string_view source);
    ~Script();
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    // Calls `main` and gives the members of the object it returns, but for undefined ones; none for any other result.
    // Absent, with a message, if it threw or used up its time or memory. Structures are copied both ways: at most 64
    // deep, a million members and 16 MiB of text, what lies beyond is null, and so are functions and an object within
    // itself.
    std::optional<ScriptObject> run(const std::vector<ScriptValue>& arguments);

    // What the last run that failed has to say.
    const std::string& message() const { return message_; }
    // Nor is it called any more after three failures for time, or for memory that another took, within a thousand runs.
    bool isDisabled() const;

private:
    Script();
    std::optional<ScriptObject> attempt(const std::vector<ScriptValue>& arguments);
    struct Engine;
    std::unique_ptr<Engine> engine_;
    std::string message_;
};

} // namespace vitrel
