#include "platform/confinement/Parts.h"

#include <seccomp.h>

#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>
#include <memory>

namespace vitrel {

namespace {

// Calls by their names, as kernels of today have some that the headers of Debian 12 don't know.
constexpr const char* kForbidden[] = {
    // the insides of other processes
    "ptrace", "process_vm_readv", "process_vm_writev", "kcmp", "pidfd_getfd", "process_madvise", "move_pages",
    "migrate_pages",
    // other roots and names
    "mount", "umount2", "pivot_root", "chroot", "setns", "unshare", "open_by_handle_at", "name_to_handle_at",
    // corners of the kernel
    "add_key", "keyctl", "request_key", "bpf", "perf_event_open", "userfaultfd", "fanotify_init", "lookup_dcookie",
    "init_module", "finit_module", "delete_module", "kexec_load", "kexec_file_load", "syslog", "acct", "quotactl",
    "swapon", "swapoff", "reboot", "modify_ldt", "vhangup", "settimeofday", "clock_settime", "adjtimex",
    "clock_adjtime", "sethostname", "setdomainname", "iopl", "ioperm", "mknod", "mknodat"};
constexpr const char* kForbiddenToDraw[] = {
    // who calls us from outside
    "listen", "accept", "accept4",
    // programs and processes, threads being made by clone; signals that kill below doesn't cover
    "execve", "execveat", "fork", "vfork", "tkill", "rt_sigqueueinfo", "rt_tgsigqueueinfo", "pidfd_send_signal",
    // what can be done to files by their names and Landlock has no right for, or only later ABIs
    "chmod", "fchmodat", "fchmodat2", "chown", "lchown", "fchownat", "setxattr", "lsetxattr", "removexattr",
    "lremovexattr", "utime", "utimes", "utimensat", "futimesat", "truncate"};
// Who gets this answer takes an older call.
constexpr const char* kUnknown[] = {"clone3", "io_uring_setup", "io_uring_enter", "io_uring_register", "open_tree",
    "move_mount", "fsopen", "fsconfig", "fsmount", "fspick", "mount_setattr"};

// Numbers of address families that exist; a filter can't deny "all but".
constexpr int kFamilies = 64;

class Filter
{
public:
    bool isThere() const { return filter_ != nullptr; }
    // A call that this library or machine doesn't have can't be made by its name either.
    void deny(const char* name, int error, std::initializer_list<scmp_arg_cmp> when = {})
    {
        const int number = seccomp_syscall_resolve_name(name);
        if (number != __NR_SCMP_ERROR && failure_ == 0)
            failure_ = seccomp_rule_add_array(filter_.get(), SCMP_ACT_ERRNO(static_cast<std::uint32_t>(error)), number,
                static_cast<unsigned>(when.size()), when.begin());
    }
    int load()
    {
        if (failure_ == 0)
            failure_ = seccomp_attr_set(filter_.get(), SCMP_FLTATR_CTL_TSYNC, 1);
        // A search tree: a call passes a handful of comparisons in place of some two hundred.
        if (failure_ == 0)
            failure_ = seccomp_attr_set(filter_.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2);
        if (failure_ == 0)
            failure_ = seccomp_load(filter_.get());
        return -failure_;
    }

private:
    struct Release {
        void operator()(void* filter) const { seccomp_release(filter); }
    };
    std::unique_ptr<void, Release> filter_{seccomp_init(SCMP_ACT_ALLOW)};
    int failure_ = 0;
};

} // namespace

int filterCalls(ConfinementKind kind)
{
    Filter filter;
    if (!filter.isThere())
        return ENOMEM;
    for (const char* name : kForbidden)
        filter.deny(name, EPERM);
    for (const char* name : kUnknown)
        filter.deny(name, ENOSYS);
    // Words put into the terminal that started us.
    filter.deny("ioctl", EPERM, {SCMP_A1_32(SCMP_CMP_EQ, TIOCSTI)});
    filter.deny("ioctl", EPERM, {SCMP_A1_32(SCMP_CMP_EQ, TIOCLINUX)});
    if (kind == ConfinementKind::Service)
        return filter.load();
    for (const char* name : kForbiddenToDraw)
        filter.deny(name, EPERM);
    filter.deny("clone", EPERM, {SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, 0)});
    filter.deny("prlimit64", EPERM, {SCMP_A0_32(SCMP_CMP_NE, 0)});
    const auto self = static_cast<scmp_datum_t>(getpid());
    filter.deny("kill", EPERM, {SCMP_A0_32(SCMP_CMP_NE, self)});
    filter.deny("tgkill", EPERM, {SCMP_A0_32(SCMP_CMP_NE, self)});
    for (int family = 0; family < kFamilies; ++family)
        filter.deny("socket", EAFNOSUPPORT, {SCMP_A0_32(SCMP_CMP_EQ, static_cast<scmp_datum_t>(family))});
    return filter.load();
}

} // namespace vitrel
