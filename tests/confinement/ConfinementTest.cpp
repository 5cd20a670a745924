#include "platform/confinement/Confinement.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <latch>
#include <set>
#include <sstream>
#include <thread>

namespace vitrel {

namespace {

using Words = std::set<std::string>;

const Words kWanted = {"READ-FILE", "WRITE-OUTPUT", "SOCKET-PAIR", "THREAD", "MACHINE-CODE", "OWN-SIGNAL"};
// What only Landlock stops.
const Words kFiles = {"read-secret", "list-home", "write-home", "overwrite-secret", "overwrite-file", "link", "remove",
    "environment-of-another"};
// What a service does, or those whom it starts.
const Words kServing = {"tcp", "udp", "truncate", "chmod", "listen", "local-socket", "abstract-socket", "signal",
    "limits", "spawn", "fork", "memory-program"};
const Words kNobodys = {"memory", "trace", "io-uring", "namespace"};

Words both(Words a, const Words& b)
{
    a.insert(b.begin(), b.end());
    return a;
}

// A folder with a home, a composition and a place for pictures; a process; ports of three kinds.
struct Prey {
    Prey()
    {
        for (const char* name : {"home", "file", "out"})
            std::filesystem::create_directory(folder / name);
        folder.write("home/secret", "s");
        folder.write("home/second", "s");
        folder.write("file/one.qtz", "bplist00");
        victim = fork();
        if (victim == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (;;)
                pause();
        }
        sockaddr_in any{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t length = sizeof any;
        internet = listening(AF_INET, reinterpret_cast<sockaddr*>(&any), length);
        getsockname(internet, reinterpret_cast<sockaddr*>(&any), &length);
        port = ntohs(any.sin_port);
        for (const bool abstract : {false, true}) {
            const std::string name = abstract ? folder.path() : folder / "socket";
            sockaddr_un local{AF_UNIX, {}};
            name.copy(local.sun_path + abstract, sizeof local.sun_path - 1);
            locals[abstract] = listening(AF_UNIX, reinterpret_cast<sockaddr*>(&local),
                socklen_t(offsetof(sockaddr_un, sun_path) + abstract + name.size()));
        }
    }
    ~Prey()
    {
        for (const int one : {internet, locals[0], locals[1]})
            ::close(one);
        ::kill(victim, SIGKILL);
        waitpid(victim, nullptr, 0);
    }
    static int listening(int family, const sockaddr* address, socklen_t length)
    {
        const int server = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(server, address, length), 0);
        EXPECT_EQ(listen(server, 8), 0);
        return server;
    }

    // What could be done.
    Words attackedAs(const std::string& kind, int abi, int* status)
    {
        const std::string command = std::string(VITREL_ATTACKS) + " " + kind + " " + std::to_string(abi) + " "
            + folder.path() + " " + std::to_string(victim) + " " + std::to_string(port);
        FILE* words = popen(command.c_str(), "r");
        std::string all;
        for (int c = 0; (c = std::fgetc(words)) != EOF;)
            all += char(c);
        *status = WEXITSTATUS(pclose(words));
        std::istringstream split(all);
        return {std::istream_iterator<std::string>(split), {}};
    }

    TemporaryFolder folder;
    pid_t victim = 0;
    int internet = -1, locals[2] = {-1, -1}, port = 0;
};

} // namespace

// Each attack succeeds first, or its failure would prove nothing.
TEST(Confinement, StopsAllThatAHijackedCompositionCouldWant)
{
    const struct {
        const char* kind;
        int abi;
        Words done;
    } cases[] = {
        {"none", 7, both(both(kWanted, kFiles), both(kServing, kNobodys))},
        {"drawing", 7, kWanted},
        {"drawing", 6, kWanted}, // as on Debian 13
        {"drawing", 2, kWanted}, // as on Debian 12
        {"drawing", 0, both(kWanted, kFiles)},
        {"service", 7, both(both(kWanted, kFiles), kServing)},
    };
    for (const auto& [kind, abi, done] : cases) {
        Prey prey;
        int status = 0;
        Words could = prey.attackedAs(kind, abi, &status);
        if (status == 77)
            GTEST_SKIP() << "this kernel has no Landlock";
        Words expected = done;
        if (std::string(kind) == "none") // kernels and containers forbid these by themselves at times
            for (const char* name : {"io-uring", "namespace", "trace", "memory"}) {
                could.erase(name);
                expected.erase(name);
            }
        EXPECT_THAT(could, testing::ContainerEq(expected)) << kind << ' ' << abi;
    }
}

// Another thread would stay free.
TEST(Confinement, HoldsNothingOnceThereIsASecondThread)
{
    std::latch asked(1);
    std::thread other([&] { asked.wait(); });
    const auto confined = confine(ConfinementKind::Drawing, {});
    asked.count_down();
    other.join();
    EXPECT_FALSE(confined.calls);
    EXPECT_EQ(confined.landlock, 0);
    EXPECT_FALSE(confined.lacks.empty());
}

TEST(Confinement, ClosesWhatWasLeftOpen)
{
    const pid_t child = fork();
    if (child == 0) {
        for (const int end : {5, 9, 300})
            dup2(0, end);
        closeInheritedDescriptors({9, 4});
        const auto isOpen = [](int end) { return fcntl(end, F_GETFD) >= 0; };
        _exit(isOpen(5) || isOpen(300) || !isOpen(9) || !isOpen(2) ? 1 : 0);
    }
    int status = 1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

} // namespace vitrel
