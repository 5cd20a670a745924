#pragma once

#include <string>
#include <vector>

namespace vitrel {

// What a process may still do once it has confined itself. In each kind it starts no program and no process, touches
// no other one, and gets into none of the kernel's corners where drawing has no business.
enum class ConfinementKind {
    // Draws a file that nobody has chosen to play, or reads one: no sockets at all.
    Drawing,
    // Plays: what was connected stays connected, and servers of the internet can be reached, for feeds and covers.
    Display,
};

// Paths that aren't there count for nothing. What one names is looked up now, links followed.
struct ConfinementReach {
    std::vector<std::string> readable; // files, and folders with all that lies beneath
    // Folders, with all beneath: files in them are made, written, renamed and removed. Of a path that isn't a folder,
    // the file alone, to be written.
    std::vector<std::string> writable;
    // Seconds of the processor after which the process is killed, and bytes of addresses; 0 for as many as there are.
    unsigned processorSeconds = 0;
    unsigned long addresses = 0;
};

// What holds from now on.
struct Confined {
    int landlock = 0; // the ABI that the kernel has and that is used, 0 for none
    bool calls = false; // the filter of system calls holds
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
