#include "programs/preview/PreviewLink.h"

#include "programs/child/ChildProcess.h"
#include "programs/preview/PreviewMessages.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <utility>
#include <vector>

namespace vitrel {
namespace {

// A child answers between two frames; one that doesn't for so long is stuck in a composition. At its start it loads
// the driver and a file, which takes longer on a busy machine.
constexpr Seconds kPatience{5}, kStartPatience{20}, kLook{1};
// A composition that kills its renderer does it again.
constexpr int kMostFailures = 3;
constexpr Seconds kPause{1};

} // namespace

struct PreviewLink::Child {
    Child(PreviewLink& owner, RunLoop& loop, std::string program, std::vector<std::string> more)
        : owner_(owner)
        , loop_(loop)
        , program_(std::move(program))
        , more_(std::move(more))
    {
        look_ = loop_.scheduledTimer(kLook, true, [this] { look(); });
        start();
    }
    ~Child()
    {
        look_->invalidate();
        if (again_)
            again_->invalidate();
        end();
    }

    void start()
    {
        end();
        state_ = State::starting;
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0)
            return fail();
        socket_ = ends[0];
        std::vector<std::string> words{
            "vitrel", "preview", "--width", std::to_string(width_), "--height", std::to_string(height_)};
        words.insert(words.end(), more_.begin(), more_.end());
        // The child's end must block nobody and outlive the exec; ours must not get into the child.
        process_ = ChildProcess::start(loop_, ChildProcess::Kind::apart, program_, words, ends[1], [this](int status) {
            // The user has chosen a file that wasn't in the list when it gave up reading others.
            if (WIFEXITED(status) && WEXITSTATUS(status) == kPreviewAnew)
                start();
            else
                fail();
        });
        ::close(ends[1]);
        if (!process_)
            return fail();
        heard_ = loop_.clock().now();
        loop_.watch(socket_, POLLIN, [this](short) { receive(); });
        say({PreviewMessage::show, shown_, 0});
        say({PreviewMessage::ping, 0, 0});
    }
    void end()
    {
        process_.reset();
        if (socket_ >= 0) {
            loop_.unwatch(socket_);
            ::close(std::exchange(socket_, -1));
        }
        forgetMemory();
    }
    void fail()
    {
        // In a turn of its own: the process may be the one who calls.
        end();
        state_ = ++failures_ >= kMostFailures ? State::failed : State::starting;
        if (state_ == State::starting)
            again_ = loop_.scheduledTimer(kPause, false, [this] { start(); });
        changed();
    }
    void look()
    {
        if (!process_)
            return;
        const Seconds patience = state_ == State::starting ? kStartPatience : kPatience;
        if (loop_.clock().now() - heard_ > patience)
            return fail();
        say({PreviewMessage::ping, 0, 0});
    }
    void changed()
    {
        if (owner_.onChange)
            owner_.onChange();
    }
    void say(const PreviewMessage& message)
    {
        if (socket_ >= 0)
            sendPreviewMessage(socket_, message);
    }

    void receive()
    {
        bool news = false;
        std::vector<std::string> said;
        for (;;) {
            const auto [message, descriptor, closed] = receivePreviewMessage(socket_);
            if (message && message->kind == PreviewMessage::memory) {
                takeMemory(descriptor, message->a, message->b);
            } else if (message && message->kind == PreviewMessage::words) {
                said.push_back(receivedPreviewWords(*message, descriptor));
            } else if (descriptor >= 0) {
                ::close(descriptor);
            }
            if (!message) {
                if (closed) // its process tells the rest
                    loop_.unwatch(socket_);
                break;
            }
            heard_ = loop_.clock().now();
            if (message->kind == PreviewMessage::frame && pixels_ && message->a < 2) {
                if (slot_ >= 0)
                    say({PreviewMessage::taken, 0, 0});
                slot_ = int(message->a);
                state_ = State::playing;
                news = true;
            }
        }
        if (news)
            changed();
        for (std::size_t k = 0; k < said.size() && owner_.onWords; ++k)
            owner_.onWords(said[k]);
    }
    void takeMemory(int descriptor, std::uint32_t width, std::uint32_t height)
    {
        forgetMemory();
        const bool sane = width > 0 && height > 0 && width <= kMostPreviewPixels && height <= kMostPreviewPixels;
        const std::size_t size = sane ? std::size_t(width) * height * 8 : 0;
        struct ::stat status {
        };
        // A child that has gone mad must not make a read of its memory fail here: it can't be made smaller.
        const bool sealed = descriptor >= 0 && (fcntl(descriptor, F_GET_SEALS) & F_SEAL_SHRINK) != 0;
        if (sealed && sane && fstat(descriptor, &status) == 0 && std::size_t(status.st_size) >= size) {
            void* mapped = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
            if (mapped != MAP_FAILED) {
                pixels_ = static_cast<const std::uint32_t*>(mapped);
                frameWidth_ = int(width);
                frameHeight_ = int(height);
                mappedBytes_ = size;
            }
        }
        if (descriptor >= 0)
            ::close(descriptor);
    }
    void forgetMemory()
    {
        if (pixels_)
            munmap(const_cast<std::uint32_t*>(pixels_), mappedBytes_);
        pixels_ = nullptr;
        slot_ = -1;
    }

    PreviewLink& owner_;
    RunLoop& loop_;
    const std::string program_;
    const std::vector<std::string> more_;
    std::unique_ptr<ChildProcess> process_;
    std::shared_ptr<NSTimer> look_, again_;
    int socket_ = -1;
    State state_ = State::starting;
    int failures_ = 0;
    int width_ = 480, height_ = 270;
    bool shown_ = true;
    Seconds heard_{0};
    const std::uint32_t* pixels_ = nullptr;
    std::size_t mappedBytes_ = 0;
    int frameWidth_ = 0, frameHeight_ = 0;
    int slot_ = -1;
};

PreviewLink::PreviewLink(RunLoop& loop, std::string program, std::vector<std::string> more)
    : child_(std::make_unique<Child>(*this, loop, std::move(program), std::move(more)))
{ }

PreviewLink::~PreviewLink() = default;

void PreviewLink::resize(int width, int height)
{
    child_->width_ = std::clamp(width, 1, int(kMostPreviewPixels));
    child_->height_ = std::clamp(height, 1, int(kMostPreviewPixels));
    child_->say({PreviewMessage::resize, std::uint32_t(child_->width_), std::uint32_t(child_->height_)});
}

void PreviewLink::reload()
{
    child_->failures_ = 0;
    if (child_->process_)
        child_->say({PreviewMessage::reload, 0, 0});
    else
        child_->start();
}

void PreviewLink::setShown(bool shown)
{
    child_->shown_ = shown;
    child_->say({PreviewMessage::show, shown, 0});
}

void PreviewLink::say(std::string_view words)
{
    if (child_->socket_ >= 0)
        sendPreviewWords(child_->socket_, words);
}

PreviewLink::State PreviewLink::state() const
{
    return child_->state_;
}

PreviewFrame PreviewLink::frame() const
{
    const Child& child = *child_;
    if (!child.pixels_ || child.slot_ < 0)
        return {};
    const std::size_t words = std::size_t(child.frameWidth_) * std::size_t(child.frameHeight_);
    return {child.pixels_ + std::size_t(child.slot_) * words, child.frameWidth_, child.frameHeight_,
        std::size_t(child.frameWidth_)};
}

} // namespace vitrel
