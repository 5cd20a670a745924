// An archive that somebody sends: no name leads out of its folder, nothing in it is more than the limits say.
#include "programs/bundles/Archive.h"

#include <cstdlib>
#include <set>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace vitrel;
    const ArchiveLimits limits{.file = 1u << 20, .all = 4u << 20, .files = 50};
    std::size_t all = 0;
    std::set<std::string> seen;
    readArchive(
        {data, size},
        [&](const std::string& path, ByteView content) {
            all += content.size();
            const bool leadsOut = path.empty() || path[0] == '/' || path[0] == '.' || path.find("/.") != path.npos;
            if (leadsOut || content.size() > limits.file || all > limits.all || !seen.insert(path).second)
                std::abort();
            return true;
        },
        limits);
    return 0;
}
