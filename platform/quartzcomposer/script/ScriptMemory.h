#pragma once

#include <cstdint>

namespace vitrel {

// The engine limits its objects, but not what hangs on them: "x".repeat(1 << 29).toUpperCase() takes a gigabyte in one
// call that nothing can interrupt. This puts counters between the engine's library and the allocator: large requests
// fail, which the engine reports to the script, once all that the library holds would pass 96 MiB. Called once, before
// the engine starts. False if the library doesn't look as expected; then it has no such limit.
bool boundScriptMemory();

// What the library holds by those counters; 0 without them.
std::int64_t scriptMemoryBytes();

} // namespace vitrel
