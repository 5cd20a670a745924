#include "platform/foundation/NSLog.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <ctime>

#include <unistd.h>

namespace vitrel {

LogSink standardErrorLog(const Clock& clock)
{
    return [&clock](const std::string& line) {
        const double now = clock.date().secondsSince1970;
        const auto whole = static_cast<std::time_t>(std::floor(now));
        std::tm local{};
        localtime_r(&whole, &local);
        char stamp[64];
        const std::size_t size = std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
        std::snprintf(stamp + size, sizeof stamp - size, ".%03d", static_cast<int>((now - std::floor(now)) * 1000));
        const std::string whole_line = std::string(stamp) + " " + program_invocation_short_name + "["
            + std::to_string(getpid()) + "] " + line + "\n";
        // One call, so that lines of several threads and processes stay whole.
        std::fwrite(whole_line.data(), 1, whole_line.size(), stderr);
    };
}

void NSLog(const LogSink& sink, std::string_view format, std::initializer_list<Value> arguments)
{
    if (!sink)
        return;
    std::string line;
    auto next = arguments.begin();
    for (std::size_t at = 0; at < format.size(); ++at) {
        if (format.substr(at, 2) == "%@" && next != arguments.end()) {
            line += description(*next++);
            ++at;
        } else {
            line += format[at];
        }
    }
    for (char& c : line) {
        if (c == '\n' || c == '\r')
            c = ' ';
    }
    sink(line);
}

} // namespace vitrel
