#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vitrel {

// What a process gives up for good. In either kind it looks into no other process, and gets into none of the kernel's
// corners where Vitrel has no business, nor to more privileges than it has.
enum class ConfinementKind {
    // Draws, or reads, a file of somebody's: no sockets but those that it has, no programs, no other processes, and of
    // files only what its reach says.
    Drawing,
    // Serves, or starts others, who have the same given up.
    Service,
};

// Paths that aren't there count for nothing. What one names is looked up now, links followed.
struct ConfinementReach {
    std::vector<std::string> readable; // files, and folders with all that lies beneath
    // Folders, with all beneath: files in them are made, written, renamed and removed. Of a path that isn't a folder,
    // the file alone, to be written.
    std::vector<std::string> writable;
    // Likewise, and folders in them are renamed and removed, too.
    std::vector<std::string> arranged;
    std::uint64_t largestFile = 256u << 20; // bytes of a file that is written; no picture needs more
};

// What holds from now on.
struct Confined {
    int landlock = 0; // the ABI that the kernel has and that is used, 0 for none, as for a service
    bool calls = false; // the filter of system calls holds
    bool isSwitchedOff = false; // by the environment
    std::string lacks; // why one of them doesn't, for people; empty if both hold
};

// Confines this process for good. Before its first thread: others would stay free. Whatever fails, the rest holds, and
// the process goes on. Environment: VITREL_NO_SANDBOX=1 leaves all of it out, for people whose driver breaks.
// `mostLandlock` stands for an older kernel.
//
// Landlock: the kernel's documentation, userspace-api/landlock; its rights by their ABI, from 1 to 7. The filter is a
// list of what is denied, with an error and not with an end: the C library, Mesa and drivers try calls that they can do
// without.
Confined confine(ConfinementKind kind, const ConfinementReach& reach, int mostLandlock = 7);

// What a kernel and an environment like this one's let `confine` do, without doing it.
Confined confinementHere();

// What drawing with OpenGL reads, whoever makes the driver: libraries, drivers, fonts, their caches; and what it
// writes: the driver's cache of shaders, made if need be.
ConfinementReach reachOfDrawing();

// Closes what was left open by who started this process, but the three streams and `kept`.
void closeInheritedDescriptors(const std::vector<int>& kept = {});

} // namespace vitrel
