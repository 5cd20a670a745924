#pragma once

#include "base/Bytes.h"

#include <functional>
#include <string>

namespace vitrel {

// Of an archive that a stranger made.
struct ArchiveLimits {
    std::size_t archive = 64u << 20; // bytes of the archive itself
    std::size_t file = 64u << 20; // of one file in it
    std::size_t all = 256u << 20; // of all files together
    std::size_t files = 2000;
    std::size_t ratio = 200; // how many times smaller a large file may have become
    int levels = 8;
};

// Hands over each file of a ZIP archive, in its order, by its path within ("pictures/a.png"): never absolute, nothing
// of it is "..", hidden or longer than file systems take, and none comes twice. Hidden files are left out. Empty, or
// why the archive is refused, as soon as that is known: for a link, a name that leads out, something encrypted, a
// limit. `take` gives false to end it, with the reason "can't write". Any thread.
using ArchiveTaker = std::function<bool(const std::string& path, ByteView content)>;
std::string readArchive(ByteView archive, const ArchiveTaker& take, const ArchiveLimits& limits = {});

} // namespace vitrel
