#include "platform/quartzcomposer/scene/Filters.h"

#include "platform/quartzcomposer/scene/Matrix.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

using R = ExtentRule;

// A picture larger than this is nobody's intention.
constexpr double kMaxGrowth = 1000, kMaxReach = 8000;

Extent transformed(const Extent& e, const Affine& t)
{
    if (e.infinite)
        return e;
    double left = 1e300, right = -1e300, bottom = 1e300, top = -1e300;
    for (const double x : {e.x, e.x + e.width}) {
        for (const double y : {e.y, e.y + e.height}) {
            left = std::min(left, t.a * x + t.c * y + t.tx);
            right = std::max(right, t.a * x + t.c * y + t.tx);
            bottom = std::min(bottom, t.b * x + t.d * y + t.ty);
            top = std::max(top, t.b * x + t.d * y + t.ty);
        }
    }
    return {left, bottom, right - left, top - bottom, false};
}

Extent rectangleOf(std::span<const double> n)
{
    return {n[0], n[1], std::max(0.0, n[2]), std::max(0.0, n[3]), false};
}

Extent around(double x, double y, double reach)
{
    reach = std::ceil(std::min(reach, kMaxReach));
    return {std::floor(x - reach), std::floor(y - reach), 2 * reach + 1, 2 * reach + 1, false};
}

Extent cornersOf(std::span<const double> n)
{
    const auto [left, right] = std::minmax({n[0], n[2], n[4], n[6]});
    const auto [bottom, top] = std::minmax({n[1], n[3], n[5], n[7]});
    return {left, bottom, right - left, top - bottom, false};
}

Extent extentOf(const Filter& filter, const std::vector<ImageRef>& images, const std::vector<double>& numbers,
    const std::vector<NSColor>& colors)
{
    const auto of = [&](std::size_t k) { return k < images.size() && images[k] ? images[k]->extent() : Extent{}; };
    switch (filter.rule) {
    case R::Same:
        return of(0);
    case R::Union:
        return unite(of(0), of(1));
    case R::Intersection:
        return intersect(of(0), of(1));
    case R::Infinite:
        return {0, 0, 0, 0, true};
    case R::Blur:
        return grow(of(0), std::ceil(std::clamp(3 * numbers[0], 0.0, kMaxGrowth)));
    case R::Crop:
        return intersect(of(0), rectangleOf(numbers));
    case R::Transform:
        return transformed(of(0), affineOf(numbers));
    case R::Masked:
        return unite(of(1), intersect(of(0), of(2)));
    case R::Around: {
        const double reach = filter.reach(numbers, colors);
        return reach < 0 ? Extent{0, 0, 0, 0, true} : around(numbers[0], numbers[1], reach);
    }
    case R::Grown:
        return grow(of(0), std::ceil(std::clamp(filter.reach(numbers, colors), 0.0, kMaxGrowth)));
    case R::Pixel:
        return {0, 0, 1, 1, false};
    case R::Row:
        return {0, 0, std::max(1.0, intersect(of(0), rectangleOf(numbers)).width), 1, false};
    case R::Column:
        return {0, 0, 1, std::max(1.0, intersect(of(0), rectangleOf(numbers)).height), false};
    case R::Corners:
        return cornersOf(numbers);
    }
    return {};
}

} // namespace

Affine affineOf(std::span<const double> n)
{
    if (n.size() < 7)
        return {};
    const double s = std::sin(radians(n[4])), c = std::cos(radians(n[4]));
    Affine t{c * n[2], s * n[2], -s * n[3], c * n[3], 0, 0};
    // About the origin point, then moved.
    t.tx = n[0] + n[5] - (t.a * n[0] + t.c * n[1]);
    t.ty = n[1] + n[6] - (t.b * n[0] + t.d * n[1]);
    return t;
}

// From the unit square to the quadrangle in closed form, then its adjoint.
std::optional<std::vector<double>> sharesOfQuadrangle(std::span<const double> n)
{
    if (n.size() < 8)
        return std::nullopt;
    const double x0 = n[6], y0 = n[7], x1 = n[4], y1 = n[5], x2 = n[2], y2 = n[3], x3 = n[0], y3 = n[1];
    const double dx1 = x1 - x2, dy1 = y1 - y2, dx2 = x3 - x2, dy2 = y3 - y2, sx = x0 - x1 + x2 - x3,
                 sy = y0 - y1 + y2 - y3;
    const double det = dx1 * dy2 - dx2 * dy1;
    if (!(std::fabs(det) > 1e-9))
        return std::nullopt;
    const double g = (sx * dy2 - dx2 * sy) / det, h = (dx1 * sy - sx * dy1) / det;
    const double a = x1 - x0 + g * x1, b = x3 - x0 + h * x3, d = y1 - y0 + g * y1, e = y3 - y0 + h * y3;
    std::vector<double> m{e - y0 * h, x0 * h - b, b * y0 - x0 * e, y0 * g - d, a - x0 * g, x0 * d - a * y0,
        d * h - e * g, b * g - a * h, a * e - b * d};
    if (m[8] < 0 || (m[8] == 0 && m[6] * (x0 + x2) / 2 + m[7] * (y0 + y2) / 2 < 0))
        for (double& each : m)
            each = -each;
    return m;
}

ImageRef filtered(const Filter& filter, const std::vector<ImageRef>& images, const std::vector<double>& numbers,
    const std::vector<NSColor>& colors)
{
    const bool laidOver = filter.rule == R::Masked && images.size() > 1 && images[1];
    if (filter.images[0] && (images.empty() || (!images[0] && !laidOver)))
        return nullptr;
    if (LazyImage::deepest(images) >= LazyImage::kMaxLevels)
        return images[0];
    const bool sound = std::all_of(numbers.begin(), numbers.end(), [](double n) { return std::isfinite(n); });
    const Extent extent = sound ? extentOf(filter, images, numbers, colors) : Extent{};
    if (extent.empty() || !std::isfinite(extent.width * extent.height))
        return nullptr;
    return std::make_shared<FilteredImage>(extent, filter, images, numbers, colors);
}

} // namespace vitrel::qc
