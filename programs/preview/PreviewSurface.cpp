#include "programs/preview/PreviewSurface.h"

#include "programs/preview/PreviewMessages.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace vitrel {
namespace {

std::size_t bytesOfFrame(int width, int height)
{
    return std::size_t(width) * std::size_t(height) * sizeof(std::uint32_t);
}

} // namespace

PreviewSurface::PreviewSurface(RunLoop& loop, int socket, int width, int height)
    : loop_(loop)
    , socket_(socket)
{
    makeMemory(width, height);
    loop_.watch(socket_, POLLIN, [this](short) { receive(); });
}

PreviewSurface::~PreviewSurface()
{
    loop_.unwatch(socket_);
    if (pixels_)
        munmap(pixels_, 2 * bytesOfFrame(width_, height_));
}

void PreviewSurface::makeMemory(int width, int height)
{
    if (pixels_)
        munmap(pixels_, 2 * bytesOfFrame(width_, height_));
    pixels_ = nullptr;
    width_ = std::clamp(width, 1, int(kMostPreviewPixels));
    height_ = std::clamp(height, 1, int(kMostPreviewPixels));
    const std::size_t size = 2 * bytesOfFrame(width_, height_);
    const int memory = memfd_create("preview", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    // Sealed, so that the window may trust its size.
    if (memory >= 0 && ftruncate(memory, off_t(size)) == 0 && fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK) == 0) {
        void* mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0);
        if (mapped != MAP_FAILED)
            pixels_ = static_cast<std::uint32_t*>(mapped);
    }
    if (pixels_)
        sendPreviewMessage(socket_, {PreviewMessage::memory, std::uint32_t(width_), std::uint32_t(height_)}, memory);
    if (memory >= 0)
        ::close(memory);
    slot_ = untaken_ = 0;
}

bool PreviewSurface::wantsFrame() const
{
    // One frame is shown and one is drawn; with two on their way there is no memory for a third.
    return shown_ && !closed_ && untaken_ < 2;
}

FrameMemory PreviewSurface::frameMemory()
{
    if (!pixels_ || closed_)
        return {};
    return {pixels_ + std::size_t(slot_) * std::size_t(width_) * std::size_t(height_), std::size_t(width_)};
}

void PreviewSurface::present()
{
    if (!pixels_ || !sendPreviewMessage(socket_, {PreviewMessage::frame, std::uint32_t(slot_), 0}))
        return;
    slot_ = 1 - slot_;
    ++untaken_;
}

void PreviewSurface::say(std::string_view words)
{
    if (!closed_)
        sendPreviewWords(socket_, words);
}

void PreviewSurface::receive()
{
    for (;;) {
        const auto [message, descriptor, closed] = receivePreviewMessage(socket_);
        if (message && message->kind == PreviewMessage::words) {
            const std::string words = receivedPreviewWords(*message, descriptor);
            if (onWords)
                onWords(words);
            continue;
        }
        if (descriptor >= 0)
            ::close(descriptor);
        if (!message) {
            if (closed && !std::exchange(closed_, true)) {
                loop_.unwatch(socket_);
                if (onEnd)
                    onEnd();
            }
            return;
        }
        switch (message->kind) {
        case PreviewMessage::resize:
            if (int(message->a) != width_ || int(message->b) != height_) {
                makeMemory(
                    int(std::min(message->a, kMostPreviewPixels)), int(std::min(message->b, kMostPreviewPixels)));
                if (onResize)
                    onResize(width_, height_);
            }
            break;
        case PreviewMessage::reload:
            if (onReload)
                onReload();
            break;
        case PreviewMessage::show:
            shown_ = message->a != 0;
            break;
        case PreviewMessage::taken:
            untaken_ = std::max(0, untaken_ - 1);
            break;
        case PreviewMessage::ping:
            sendPreviewMessage(socket_, {PreviewMessage::pong, 0, 0});
            break;
        default:
            break;
        }
    }
}

} // namespace vitrel
