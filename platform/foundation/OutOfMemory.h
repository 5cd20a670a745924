#pragma once

namespace vitrel {

// From now on the process ends on the spot, with one line under `name` on standard error and the exit status 1, when an
// allocation fails. An exception would go through frames of libraries that are written in C and leave them torn; what
// runs after it would free twice or crash. For a program's main, ahead of the first thread. `name` must last.
void endWhereMemoryEnds(const char* name);

} // namespace vitrel
