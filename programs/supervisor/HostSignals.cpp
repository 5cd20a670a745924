#include "programs/supervisor/HostSignals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

namespace vitrel {

namespace {

sigset_t stopSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&set, number);
    return set;
}

} // namespace

HostSignals::HostSignals(RunLoop& loop, std::function<void(int)> onStop)
    : loop_(loop)
{
    std::signal(SIGPIPE, SIG_IGN);
    const sigset_t set = stopSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    descriptor_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) {
        pthread_sigmask(SIG_UNBLOCK, &set, nullptr); // they end the process, then, as they do by default
        return;
    }
    loop_.watch(descriptor_, POLLIN, [descriptor = descriptor_, onStop = std::move(onStop)](short) {
        signalfd_siginfo info;
        while (read(descriptor, &info, sizeof info) == ssize_t(sizeof info))
            onStop(int(info.ssi_signo));
    });
}

HostSignals::~HostSignals()
{
    if (descriptor_ < 0)
        return;
    loop_.unwatch(descriptor_);
    close(descriptor_);
    const sigset_t set = stopSignals();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void HostSignals::capExit(Seconds span)
{
    std::signal(SIGALRM, [](int) { _exit(0); });
    const auto microseconds = std::max<long>(1, long(span.count() * 1e6));
    const itimerval timer{{0, 0}, {microseconds / 1'000'000, microseconds % 1'000'000}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

} // namespace vitrel
