#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace vitrel {

// Standard output, gathered into large writes. A reader that has gone ends the program at once and quietly with status
// 1, as there is nothing left to do; any other failure ends it with a line on standard error.
class Output
{
public:
    Output();

    void line(std::string_view text);
    // Of a line.
    void piece(std::string_view text);
    void flush();

private:
    static void write(std::string_view text);

    std::string gathered_;
};

// How far a long run is: one line on standard error that renews itself, and goes at the end. Only if a person sees it
// and the results don't run over the same terminal.
class Progress
{
public:
    explicit Progress(std::size_t count);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void step();

private:
    using Moment = std::chrono::steady_clock::time_point;

    std::size_t count_;
    std::size_t done_ = 0;
    bool visible_;
    bool shown_ = false;
    Moment last_ = {};
};

} // namespace vitrel
