#include "platform/appkit/MemorySurface.h"

#include <algorithm>

namespace vitrel {

MemorySurface::MemorySurface(int width, int height)
    : width_(std::max(1, width))
    , height_(std::max(1, height))
{ }

FrameMemory MemorySurface::frameMemory()
{
    if (closed_)
        return {};
    next_.width = width_;
    next_.height = height_;
    next_.pixels.resize(std::size_t(width_) * std::size_t(height_));
    return {next_.pixels.data(), std::size_t(width_)};
}

void MemorySurface::present()
{
    if (closed_ || next_.pixels.empty())
        return;
    shown_ = std::make_shared<const Bitmap>(std::move(next_));
    next_ = {};
    ++frames_;
}

void MemorySurface::resize(int width, int height)
{
    width_ = std::max(1, width);
    height_ = std::max(1, height);
    next_ = {};
}

std::shared_ptr<const Bitmap> MemorySurface::shown() const
{
    if (!shown_ || alpha_ > 0)
        return shown_;
    const std::vector<std::uint32_t> black(shown_->pixels.size(), 0xFF000000);
    return std::make_shared<const Bitmap>(Bitmap{shown_->width, shown_->height, black});
}

} // namespace vitrel
