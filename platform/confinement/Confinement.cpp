#include "platform/confinement/Parts.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#if defined(__SANITIZE_ADDRESS__)
// The search for leaks at the end traces its own process, which a confined one can't do.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off()
{
    return 1;
}
#endif

namespace vitrel {

namespace {

// What no picture needs more of.
constexpr rlim_t kMostDescriptors = 512;

bool isSwitchedOff()
{
    const char* given = std::getenv("VITREL_NO_SANDBOX");
    return given && *given && std::strcmp(given, "0") != 0;
}

// -1 where /proc isn't there.
int threads()
{
    std::error_code error;
    int count = 0;
    for (auto each = std::filesystem::directory_iterator("/proc/self/task", error); !error && each != end(each);
         each.increment(error))
        ++count;
    return error ? -1 : count;
}

void limit(__rlimit_resource_t what, rlim_t most)
{
    rlimit held{};
    if (getrlimit(what, &held) != 0)
        return;
    held.rlim_cur = std::min(held.rlim_cur, most);
    held.rlim_max = std::min(held.rlim_max, most);
    setrlimit(what, &held);
}

void limitAll(const ConfinementReach& reach)
{
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_FSIZE, reach.largestFile);
    limit(RLIMIT_NOFILE, kMostDescriptors);
}

void add(std::string& reasons, const std::string& reason)
{
    reasons += (reasons.empty() ? "" : "; ") + reason;
}

} // namespace

Confined confine(ConfinementKind kind, const ConfinementReach& reach, int mostLandlock)
{
    Confined result = confinementHere();
    if (isSwitchedOff())
        return result;
    if (threads() > 1) {
        result = {};
        result.lacks = "another thread runs already";
        return result;
    }
    if (kind == ConfinementKind::Drawing)
        limitAll(reach);
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        result = {};
        result.lacks = std::string("privileges can't be given up: ") + std::strerror(errno);
        return result;
    }
    result.landlock = kind == ConfinementKind::Service ? 0 : std::min(result.landlock, mostLandlock);
    if (result.landlock > 0) {
        if (const int error = restrictFiles(reach, result.landlock)) {
            result.landlock = 0;
            add(result.lacks, std::string("Landlock failed: ") + std::strerror(error));
        }
    }
    if (const int error = filterCalls(kind)) {
        result.calls = false;
        add(result.lacks, std::string("the filter of system calls failed: ") + std::strerror(error));
    }
    return result;
}

Confined confinementHere()
{
    Confined result;
    if (isSwitchedOff()) {
        result.isSwitchedOff = true;
        result.lacks = "VITREL_NO_SANDBOX is set";
        return result;
    }
    constexpr int kNewest = 7; // of the ABIs that we know
    result.landlock = std::min(landlockABI(result.lacks), kNewest);
    result.calls = true;
    return result;
}

void closeInheritedDescriptors(const std::vector<int>& kept)
{
    auto sorted = kept;
    std::sort(sorted.begin(), sorted.end());
    unsigned first = 3;
    for (const int one : sorted) {
        if (one < int(first))
            continue;
        if (unsigned(one) > first)
            syscall(SYS_close_range, first, unsigned(one) - 1, 0u);
        first = unsigned(one) + 1;
    }
    syscall(SYS_close_range, first, ~0u, 0u);
}

} // namespace vitrel
