#pragma once

#include <cstdint>

namespace vitrel {

// The engine limits its objects, but not what hangs on them: "x".repeat(1 << 29).toUpperCase() takes a gigabyte in one
// call that nothing can interrupt. This puts counters between the engine's library and the allocator: large requests
// fail, which the engine reports to the script, once all that the library holds would pass 96 MiB, and so does any of
// more than 16 MiB, whatever else there is. A small one never fails: there are places where the engine can't go on
// without. Called once, before the engine starts. False if the library doesn't look as expected; then it has no such
// limit.
bool boundScriptMemory();

// What the library holds by those counters; 0 without them.
std::int64_t scriptMemoryBytes();

// While the library holds more than `bytes`, each small request tells `onAlarm`, on its thread and from within the
// allocator: it may ask for nothing itself. Beyond 192 MiB it tells `onEnd`, which doesn't come back.
void watchScriptMemory(std::int64_t bytes, void (*onAlarm)(), void (*onEnd)());

} // namespace vitrel
