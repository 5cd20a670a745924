#pragma once

#include <cstddef>
#include <functional>

namespace vitrel {

// Runs `piece` for 0 to `count` - 1, on a few threads and in no order, and is back when all are done.
void forEachInParallel(std::size_t count, const std::function<void(std::size_t)>& piece);

} // namespace vitrel
