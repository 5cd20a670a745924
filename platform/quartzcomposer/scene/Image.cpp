#include "platform/quartzcomposer/scene/Image.h"

#include <algorithm>

namespace vitrel::qc {

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
