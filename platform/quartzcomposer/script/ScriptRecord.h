#pragma once

#include <cstdint>
#include <string_view>

namespace vitrel {

// The exit status of a process that a script has ended, with a line on standard error: what the engine does without
// asking, such as a search through megabytes, can't be stopped in any other way.
constexpr int kEndedByScript = 4;

// Which script a process runs, in memory that it shares with the process that started it, so that the next one doesn't
// run into the same script again. Without it all of this does nothing. Any thread.
class ScriptRecord
{
public:
    // Keeps a record from here on, in this process and in those that it forks. False if there is no memory.
    static bool keep();
    // Before a process is forked for `place`, 0 to 31, whose last one has ended: a script that it was running then is
    // barred, and when it is the second, so are all.
    static void takeStock(std::size_t place);
    // In the forked process: which place is its.
    static void settle(std::size_t place);

    // For the engine: what runs now in this process; 0 for nothing.
    static void running(std::uint64_t script);
    static bool isBarred(std::uint64_t script);
    // Never 0.
    static std::uint64_t nameOf(std::string_view source);
};

} // namespace vitrel
