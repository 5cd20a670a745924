#include "programs/feedkit/Output.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vitrel {

namespace {

constexpr std::size_t kGathered = 1u << 16;
// Fewer are done before anybody wonders.
constexpr std::size_t kFewDocuments = 100;
constexpr auto kBetweenSteps = std::chrono::milliseconds(100);

[[noreturn]] void endOfOutput(int error)
{
    if (error != EPIPE)
        std::fprintf(stderr, "feedkit: can't write the output: %s\n", ::strerrordesc_np(error));
    // Without waiting for documents in work, which may be a server's or a terminal's.
    ::_exit(1);
}

} // namespace

Output::Output()
{
    ::signal(SIGPIPE, SIG_IGN);
}

void Output::line(std::string_view text)
{
    piece(text);
    piece("\n");
}

void Output::piece(std::string_view text)
{
    // A long one isn't copied.
    if (text.size() >= kGathered) {
        flush();
        return write(text);
    }
    gathered_.append(text);
    if (gathered_.size() >= kGathered)
        flush();
}

void Output::flush()
{
    write(gathered_);
    gathered_.clear();
}

void Output::write(std::string_view text)
{
    while (!text.empty()) {
        const auto count = ::write(STDOUT_FILENO, text.data(), text.size());
        if (count < 0 && errno != EINTR)
            endOfOutput(errno);
        text.remove_prefix(static_cast<std::size_t>(count < 0 ? 0 : count));
    }
}

Progress::Progress(std::size_t count)
    : count_(count)
    , visible_(count > kFewDocuments && ::isatty(STDERR_FILENO) && !::isatty(STDOUT_FILENO))
{ }

Progress::~Progress()
{
    if (shown_)
        std::fputs("\r\033[K", stderr);
}

void Progress::step()
{
    ++done_;
    const auto now = std::chrono::steady_clock::now();
    if (!visible_ || now - last_ < kBetweenSteps)
        return;
    std::fprintf(stderr, "\r%zu of %zu documents", done_, count_);
    last_ = now;
    shown_ = true;
}

} // namespace vitrel
