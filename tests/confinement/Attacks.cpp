// attacks KIND ABI FOLDER VICTIM PORT: confines itself as KIND ("none", "drawing" or "service") as on a kernel with
// that ABI, tries all that a hijacked composition could want against a folder that the test made, a process and a port
// of its own, and prints what could be done, a word each. The wanted things are words in capitals.
#include "platform/confinement/Confinement.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

using namespace vitrel;

namespace {

void tell(const char* word, bool done)
{
    if (done)
        std::printf("%s ", word);
}

bool opens(const std::string& path, int flags)
{
    const int file = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
    char byte = 0;
    const bool done = file >= 0 && ((flags & O_ACCMODE) != O_RDONLY || ::read(file, &byte, 1) >= 0);
    if (file >= 0)
        ::close(file);
    return done;
}

bool lists(const std::string& path)
{
    std::error_code error;
    return std::filesystem::directory_iterator(path, error) != std::filesystem::directory_iterator() && !error;
}

// Of the descriptors that a kernel may give, none may be a socket.
bool reaches(int family, int type, const sockaddr* address, socklen_t length)
{
    const int end = ::socket(family, type, 0);
    const bool done = end >= 0
        && (type == SOCK_DGRAM ? ::sendto(end, "x", 1, 0, address, length) == 1 : ::connect(end, address, length) == 0);
    if (end >= 0)
        ::close(end);
    return done;
}

bool reachesLocal(const std::string& name, bool abstract)
{
    sockaddr_un address{AF_UNIX, {}};
    std::snprintf(address.sun_path + abstract, sizeof address.sun_path - 1, "%s", name.c_str());
    return reaches(AF_UNIX, SOCK_STREAM, reinterpret_cast<const sockaddr*>(&address),
        socklen_t(offsetof(sockaddr_un, sun_path) + unsigned(abstract) + name.size()));
}

bool endsWell(pid_t child)
{
    int status = 1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

bool spawns()
{
    pid_t child = 0;
    char* const words[] = {const_cast<char*>("true"), nullptr};
    return posix_spawn(&child, "/bin/true", nullptr, nullptr, words, environ) == 0 && endsWell(child);
}

bool forks()
{
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    return endsWell(child);
}

bool isOfSharedMemory(int kind, pid_t victim)
{
    char byte = 0;
    static char target = 1;
    iovec local{&byte, 1}, remote{&target, 1};
    return kind == 0 ? process_vm_readv(victim, &local, 1, &remote, 1, 0) == 1 || errno == EFAULT
                     : ptrace(PTRACE_SEIZE, victim, nullptr, nullptr) == 0;
}

void tryFiles(const std::string& folder, pid_t victim)
{
    tell("read-secret", opens(folder + "/home/secret", O_RDONLY));
    tell("list-home", lists(folder + "/home"));
    tell("write-home", opens(folder + "/home/new", O_WRONLY | O_CREAT));
    tell("overwrite-secret", opens(folder + "/home/secret", O_WRONLY));
    tell("overwrite-file", opens(folder + "/file/one.qtz", O_WRONLY));
    tell("truncate", truncate((folder + "/file/one.qtz").c_str(), 1) == 0);
    tell("chmod", chmod((folder + "/home/secret").c_str(), 0644) == 0);
    tell("link", link((folder + "/home/secret").c_str(), (folder + "/out/hard").c_str()) == 0);
    tell("remove", unlink((folder + "/home/second").c_str()) == 0);
    tell("environment-of-another", opens("/proc/" + std::to_string(victim) + "/environ", O_RDONLY));
    tell("READ-FILE", opens(folder + "/file/one.qtz", O_RDONLY) && opens("/etc/passwd", O_RDONLY));
    const std::string inside = folder + "/out/" + std::to_string(getpid());
    tell("WRITE-OUTPUT",
        opens(folder + "/out/new", O_WRONLY | O_CREAT | O_EXCL)
            && rename((folder + "/out/new").c_str(), (folder + "/out/picture").c_str()) == 0
            && mkdir(inside.c_str(), 0700) == 0 && opens(inside + "/shader", O_WRONLY | O_CREAT));
}

void tryNetwork(const std::string& folder, in_port_t port)
{
    sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    const auto* internet = reinterpret_cast<const sockaddr*>(&address);
    tell("tcp", reaches(AF_INET, SOCK_STREAM, internet, sizeof address));
    tell("udp", reaches(AF_INET, SOCK_DGRAM, internet, sizeof address));
    const int server = ::socket(AF_INET, SOCK_STREAM, 0);
    address.sin_port = 0;
    tell("listen", server >= 0 && bind(server, internet, sizeof address) == 0 && listen(server, 1) == 0);
    tell("local-socket", reachesLocal(folder + "/socket", false));
    tell("abstract-socket", reachesLocal(folder, true));
    int pair[2];
    tell("SOCKET-PAIR", socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair) == 0);
}

void tryProcesses(pid_t victim)
{
    tell("signal", ::kill(victim, 0) == 0);
    tell("memory", isOfSharedMemory(0, victim));
    tell("trace", isOfSharedMemory(1, victim));
    rlimit limit{};
    tell("limits", prlimit(victim, RLIMIT_CPU, nullptr, &limit) == 0);
    tell("spawn", spawns());
    tell("fork", forks());
    char parameters[256] = {};
    tell("io-uring", syscall(SYS_io_uring_setup, 1, parameters) >= 0);
    tell("namespace", unshare(CLONE_NEWUSER) == 0);
    bool ran = false;
    std::thread([&] { ran = true; }).join();
    tell("THREAD", ran);
    tell("MACHINE-CODE",
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) != MAP_FAILED);
    tell("OWN-SIGNAL", ::kill(getpid(), 0) == 0 && std::signal(SIGUSR1, SIG_IGN) != SIG_ERR && raise(SIGUSR1) == 0);
}

// A program of memory alone. What it says comes last.
void tryMemoryProgram()
{
    std::fflush(stdout);
    const int program = memfd_create("program", MFD_CLOEXEC);
    const int itself = ::open("/bin/echo", O_RDONLY | O_CLOEXEC);
    char bytes[4096];
    for (ssize_t count = 0; (count = ::read(itself, bytes, sizeof bytes)) > 0;)
        if (::write(program, bytes, std::size_t(count)) != count)
            return;
    char* const words[] = {const_cast<char*>("echo"), const_cast<char*>("memory-program"), nullptr};
    fexecve(program, words, environ);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6)
        return 2;
    const std::string kind = argv[1], folder = argv[3];
    if (kind != "none") {
        ConfinementReach reach = reachOfDrawing();
        reach.readable.push_back(folder + "/file/one.qtz");
        reach.writable.push_back(folder + "/out");
        const auto confined = confine(
            kind == "drawing" ? ConfinementKind::Drawing : ConfinementKind::Service, reach, std::atoi(argv[2]));
        if (!confined.calls || (kind == "drawing" && confined.landlock == 0 && std::atoi(argv[2]) > 0))
            return 77;
    }
    const pid_t victim = std::atoi(argv[4]);
    tryFiles(folder, victim);
    tryNetwork(folder, in_port_t(std::atoi(argv[5])));
    tryProcesses(victim);
    tryMemoryProgram();
    return 0;
}
