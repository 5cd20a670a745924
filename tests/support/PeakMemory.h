#pragma once

#include <fstream>
#include <string>

namespace vitrel {

// The most memory that the process has had since its start or the last reset, in MiB. Nothing under a sanitizer, which
// holds on to what was freed.
inline long peakMebibytes()
{
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:"))
            return std::stol(line.substr(6)) / 1024;
#endif
    return 0;
}
inline void resetPeakMemory()
{
    std::ofstream("/proc/self/clear_refs") << 5;
}

} // namespace vitrel
