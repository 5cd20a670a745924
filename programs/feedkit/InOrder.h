#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace vitrel {

struct Report {
    std::string text;
    bool failed = false;
    // Writes the text, where that is too long to wait as one; whatever it needs for that waits instead.
    std::function<void(const std::function<void(std::string_view)>& to)> writeLong = {};
};

// Makes the reports 0 to count-1, several at once, and hands them over in that order. `make` runs on `threads` threads,
// `take` on the calling one; before it waits for the next report it calls `idle`. At most so many reports wait for
// their turn that memory doesn't grow with `count`.
void inOrder(std::size_t count, unsigned threads, const std::function<Report(std::size_t)>& make,
    const std::function<void(Report)>& take, const std::function<void()>& idle);

} // namespace vitrel
