#pragma once

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

// What `work` gives, from a process of its own: a heap that others have used makes every allocation slower. Null if it
// dies.
template <class Work> nlohmann::json alone(Work work)
{
    int ends[2];
    if (pipe(ends) != 0)
        std::exit(1);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        const auto text = nlohmann::json(work()).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        _exit(write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
    }
    close(ends[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(ends[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(count));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return nlohmann::json::parse(text.empty() ? "null" : text);
}

} // namespace bench
