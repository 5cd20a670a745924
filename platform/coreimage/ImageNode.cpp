#include "platform/coreimage/ImageNode.h"

#include <algorithm>
#include <cmath>

namespace vitrel {

namespace {

// So that sums of a few of them are still numbers.
constexpr double kFarthest = 1 << 28;
// An image that is used twice by each of ten operations is opened a thousand times; no recipe of ours has twenty.
constexpr int kMostSources = 4096;

} // namespace

PixelRect intersection(const PixelRect& a, const PixelRect& b)
{
    const int x = std::max(a.x, b.x), y = std::max(a.y, b.y);
    const int width = std::min(a.right(), b.right()) - x, height = std::min(a.top(), b.top()) - y;
    return width > 0 && height > 0 ? PixelRect{x, y, width, height} : PixelRect{};
}

PixelRect pixelsTouchedBy(const NSRect& rect)
{
    const double right = rect.origin.x + rect.size.width, top = rect.origin.y + rect.size.height;
    // From one infinity to the other there is no number of pixels, either.
    if (!(rect.size.width > 0) || !(rect.size.height > 0) || std::isnan(right) || std::isnan(top))
        return {};
    const auto whole = [](double value) { return int(std::clamp(value, -kFarthest, kFarthest)); };
    const int x = whole(std::floor(rect.origin.x)), y = whole(std::floor(rect.origin.y));
    return {x, y, whole(std::ceil(right)) - x, whole(std::ceil(top)) - y};
}

NSRect intersection(const NSRect& a, const NSRect& b)
{
    const double left = std::max(a.origin.x, b.origin.x), bottom = std::max(a.origin.y, b.origin.y);
    const double width = std::min(a.origin.x + a.size.width, b.origin.x + b.size.width) - left;
    const double height = std::min(a.origin.y + a.size.height, b.origin.y + b.size.height) - bottom;
    return width > 0 && height > 0 ? makeRect(left, bottom, width, height) : NSRect{};
}

OpenInput::OpenInput(const ImageNode& node, const PixelRect& wanted, Rendering& rendering)
    : bounds_(intersection(wanted, pixelsTouchedBy(node.extent())))
{
    if (bounds_.isEmpty() || rendering.failed)
        return;
    if (++rendering.sources > kMostSources)
        rendering.failed = true;
    else
        source_ = node.open(bounds_, rendering);
}

void OpenInput::read(const PixelRect& rect, PixelTarget target) const
{
    if (rect.isEmpty())
        return;
    if (source_ && bounds_.contains(rect)) {
        source_->read(rect, target);
        return;
    }
    for (int y = 0; y < rect.height; ++y)
        std::fill_n(target.row(y), rect.width, Pixel{kClear});
    const PixelRect part = intersection(rect, bounds_);
    if (source_ && !part.isEmpty())
        source_->read(part, {target.row(part.y - rect.y) + (part.x - rect.x), target.stride});
}

} // namespace vitrel
