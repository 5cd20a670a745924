#include "platform/appkit/FadingSurface.h"

#include <algorithm>
#include <utility>

namespace vitrel {

namespace {

constexpr Seconds kBeat{1.0 / 60};
// What never draws must not leave a dead picture of the desktop on the screen.
constexpr Seconds kPatience{1.5};

// `weight` of 256 parts of `to`, the rest of `from`, in each channel.
inline std::uint32_t between(std::uint32_t from, std::uint32_t to, std::uint32_t weight)
{
    constexpr std::uint32_t kHalf = 0x00FF00FF;
    const std::uint32_t rest = 256 - weight;
    const std::uint32_t low = ((to & kHalf) * weight + (from & kHalf) * rest) >> 8 & kHalf;
    const std::uint32_t high = ((to >> 8 & kHalf) * weight + (from >> 8 & kHalf) * rest) & ~kHalf;
    return low | high;
}

} // namespace

FadingSurface::FadingSurface(
    RunLoop& loop, std::unique_ptr<Surface> inner, Bitmap backdrop, std::function<void()> ended, Seconds length)
    : loop_(loop)
    , inner_(std::move(inner))
    , backdrop_(std::move(backdrop))
    , ended_(std::move(ended))
    , length_(length)
{
    frame_.width = inner_->width();
    frame_.height = inner_->height();
    timer_ = loop_.scheduledTimer(kPatience, false, [this] { begin(); });
}

FadingSurface::~FadingSurface()
{
    timer_->invalidate();
}

FrameMemory FadingSurface::frameMemory()
{
    // A monitor that changes has shown enough of its own.
    if (fading_ && (frame_.width != width() || frame_.height != height()))
        end();
    if (!fading_)
        return inner_->frameMemory();
    frame_.pixels.resize(std::size_t(frame_.width) * std::size_t(frame_.height));
    return {frame_.pixels.data(), std::size_t(frame_.width)};
}

void FadingSurface::present()
{
    if (!fading_)
        return inner_->present();
    begin();
    show();
}

void FadingSurface::begin()
{
    if (std::exchange(begun_, true))
        return;
    start_ = loop_.clock().now();
    frame_.pixels.resize(std::size_t(frame_.width) * std::size_t(frame_.height), 0xFF000000);
    beat();
}

// Hurries only while there is something to see.
void FadingSurface::beat()
{
    timer_->invalidate();
    const bool late = loop_.clock().now() - start_ > length_ * 2;
    timer_ = loop_.scheduledTimer(late ? kPatience : kBeat, false, [this] {
        show();
        if (fading_)
            beat();
    });
}

void FadingSurface::show()
{
    if (frame_.width != width() || frame_.height != height())
        return end();
    const double progress = std::min(1.0, (loop_.clock().now() - start_) / length_);
    // A frame that is still on its way has to do, but for the last.
    if (!inner_->wantsFrame())
        return;
    const FrameMemory memory = inner_->frameMemory();
    if (!memory.pixels)
        return;
    const auto weight = std::uint32_t(progress * progress * (3 - 2 * progress) * 256);
    const bool covers = backdrop_.pixels.size() == frame_.pixels.size();
    const std::size_t width = std::size_t(frame_.width);
    for (std::size_t y = 0; y < std::size_t(frame_.height); ++y) {
        const std::uint32_t* to = frame_.pixels.data() + y * width;
        const std::uint32_t* from = covers ? backdrop_.pixels.data() + y * width : nullptr;
        std::uint32_t* out = memory.pixels + y * memory.wordsPerRow;
        for (std::size_t x = 0; x < width; ++x)
            out[x] = between(from ? from[x] : 0, to[x], weight);
    }
    inner_->present();
    if (progress >= 1)
        end();
}

void FadingSurface::end()
{
    if (!std::exchange(fading_, false))
        return;
    timer_->invalidate();
    backdrop_ = frame_ = {};
    if (const auto callback = std::exchange(ended_, nullptr))
        callback();
}

void FadingSurface::close()
{
    end();
    inner_->close();
}

} // namespace vitrel
