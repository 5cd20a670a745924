#include "platform/quartzcomposer/scene/Image.h"

#include <algorithm>
#include <atomic>

namespace vitrel::qc {

namespace {

constexpr std::size_t kMaxLivingBytes = 96u << 20;
std::atomic<std::size_t> livingBytes{0};

} // namespace

std::uint64_t Image::nextNumber()
{
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

bool roomForImages()
{
    return livingBytes < kMaxLivingBytes;
}

ImageRef ownImage(std::shared_ptr<const Bitmap> bitmap)
{
    const std::size_t size = bitmap ? bitmap->pixels.size() * 4 : 0;
    if (size == 0 || livingBytes + size > kMaxLivingBytes)
        return nullptr;
    livingBytes += size;
    return ImageRef(new BitmapImage(std::move(bitmap)), [size](const Image* image) {
        livingBytes -= size;
        delete image;
    });
}

int FilteredImage::deepest(const std::vector<ImageRef>& images)
{
    int levels = 0;
    for (const ImageRef& image : images) {
        const auto* filtered = dynamic_cast<const FilteredImage*>(image.get());
        levels = std::max(levels, filtered ? filtered->levels : 0);
    }
    return levels;
}

Extent unite(const Extent& a, const Extent& b)
{
    if (a.infinite || b.empty())
        return a;
    if (b.infinite || a.empty())
        return b;
    const double x = std::min(a.x, b.x), y = std::min(a.y, b.y);
    return {x, y, std::max(a.x + a.width, b.x + b.width) - x, std::max(a.y + a.height, b.y + b.height) - y, false};
}

Extent intersect(const Extent& a, const Extent& b)
{
    if (a.infinite)
        return b;
    if (b.infinite)
        return a;
    const double x = std::max(a.x, b.x), y = std::max(a.y, b.y);
    return {x, y, std::max(0.0, std::min(a.x + a.width, b.x + b.width) - x),
        std::max(0.0, std::min(a.y + a.height, b.y + b.height) - y), false};
}

Extent grow(const Extent& a, double by)
{
    return a.infinite ? a : Extent{a.x - by, a.y - by, a.width + 2 * by, a.height + 2 * by, false};
}

} // namespace vitrel::qc
