#include "platform/confinement/Parts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace vitrel {

namespace {

// The kernel's interface, whose header is as old as the distribution: rights by the ABI that brought them.
namespace right {
constexpr std::uint64_t kExecute = 1 << 0, kWriteFile = 1 << 1, kReadFile = 1 << 2, kReadFolder = 1 << 3,
                        kRemoveFolder = 1 << 4, kRemoveFile = 1 << 5, kMakeFolder = 1 << 7, kMakeFile = 1 << 8,
                        kTruncate = 1 << 14, kDeviceControl = 1 << 15;
constexpr std::uint64_t kFirst = 0x1FFF, kReparent = 1 << 13;
// What can be done to something that isn't a folder; the kernel takes no others for it.
constexpr std::uint64_t kOfFiles = kExecute | kWriteFile | kReadFile | kTruncate | kDeviceControl;
constexpr std::uint64_t kRead = kReadFile | kReadFolder;
// Drivers keep their shaders in folders by the shaders' hashes, and say so on the terminal where they can't make one.
constexpr std::uint64_t kWrite = kRead | kWriteFile | kRemoveFile | kMakeFolder | kMakeFile | kTruncate;
constexpr std::uint64_t kDevice = kRead | kWriteFile | kDeviceControl;
} // namespace right

constexpr std::uint64_t kBindPort = 1 << 0, kConnectPort = 1 << 1; // TCP, from ABI 4 on
constexpr std::uint64_t kAbstractSockets = 1 << 0, kSignals = 1 << 1; // to others, from ABI 6 on

struct RulesetAttributes {
    std::uint64_t files, ports, scopes;
};
struct __attribute__((packed)) PathBeneath {
    std::uint64_t rights;
    std::int32_t parent;
};
constexpr int kPathBeneath = 1;
constexpr unsigned kAskVersion = 1;

// Every right that the ABI knows: what isn't handled is free.
std::uint64_t handledBy(int abi)
{
    std::uint64_t rights = right::kFirst;
    if (abi >= 2)
        rights |= right::kReparent;
    if (abi >= 3)
        rights |= right::kTruncate;
    if (abi >= 5)
        rights |= right::kDeviceControl;
    return rights;
}

class Ruleset
{
public:
    explicit Ruleset(int abi)
        : handled_(handledBy(abi))
    {
        const RulesetAttributes attributes{handled_, kBindPort | kConnectPort, kAbstractSockets | kSignals};
        const std::size_t size = abi >= 6 ? sizeof attributes : abi >= 4 ? 16 : 8; // as much as the kernel knows
        descriptor_ = int(syscall(SYS_landlock_create_ruleset, &attributes, size, 0u));
    }
    ~Ruleset()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    Ruleset(const Ruleset&) = delete;
    Ruleset& operator=(const Ruleset&) = delete;

    bool isThere() const { return descriptor_ >= 0; }
    void allow(const std::string& path, std::uint64_t rights) const
    {
        const int parent = ::open(path.c_str(), O_PATH | O_CLOEXEC);
        if (parent < 0)
            return;
        struct stat state {
        };
        if (fstat(parent, &state) == 0) {
            if (!S_ISDIR(state.st_mode))
                rights &= right::kOfFiles;
            const PathBeneath rule{rights & handled_, parent};
            syscall(SYS_landlock_add_rule, descriptor_, kPathBeneath, &rule, 0u);
        }
        ::close(parent);
    }
    int enforce() const { return syscall(SYS_landlock_restrict_self, descriptor_, 0u) == 0 ? 0 : errno; }

private:
    const std::uint64_t handled_;
    int descriptor_ = -1;
};

} // namespace

int landlockABI(std::string& whyNone)
{
    const long abi = syscall(SYS_landlock_create_ruleset, nullptr, 0u, kAskVersion);
    if (abi > 0)
        return int(abi);
    whyNone = errno == EOPNOTSUPP ? "the kernel's Landlock is switched off" : "the kernel has no Landlock";
    return 0;
}

int restrictFiles(const ConfinementReach& reach, int abi)
{
    const Ruleset ruleset(abi);
    if (!ruleset.isThere())
        return errno;
    for (const auto& path : reach.readable)
        ruleset.allow(path, right::kRead);
    for (const auto& path : reach.writable)
        ruleset.allow(path, right::kWrite);
    for (const auto& path : reach.arranged)
        ruleset.allow(path, right::kWrite | right::kRemoveFolder);
    ruleset.allow("/dev/null", right::kDevice);
    // Graphics cards. A driver that may not list them finds none.
    for (const char* path : {"/dev/dri", "/dev/nvidiactl", "/dev/nvidia0", "/dev/nvidia1", "/dev/nvidia-modeset",
             "/dev/nvidia-uvm", "/dev/udmabuf"})
        ruleset.allow(path, right::kDevice);
    return ruleset.enforce();
}

} // namespace vitrel
