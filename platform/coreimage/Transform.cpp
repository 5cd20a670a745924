#include "platform/coreimage/CIImage.h"
#include "platform/coreimage/Nodes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace vitrel {

namespace {

// A tile is cut in two until its input is no larger than this many times its own size: a picture that shrinks a
// thousand times would otherwise be read whole for a tile that shows a few of its pixels.
constexpr double kMostOverhead = 8;
// No smaller than what a turned tile needs around itself.
constexpr double kSmallInput = 1024;

struct Point {
    double x, y;
};

Point applied(const CGAffineTransform& transform, double x, double y)
{
    return {transform.a * x + transform.c * y + transform.tx, transform.b * x + transform.d * y + transform.ty};
}

NSRect boundsOf(const CGAffineTransform& transform, double left, double bottom, double right, double top)
{
    const std::array<Point, 4> corners = {applied(transform, left, bottom), applied(transform, right, bottom),
        applied(transform, left, top), applied(transform, right, top)};
    const auto [x0, x1] = std::minmax({corners[0].x, corners[1].x, corners[2].x, corners[3].x});
    const auto [y0, y1] = std::minmax({corners[0].y, corners[1].y, corners[2].y, corners[3].y});
    return makeRect(x0, y0, x1 - x0, y1 - y0);
}

class TransformSource final : public PixelSource
{
public:
    TransformSource(OpenInput input, const CGAffineTransform& back, bool nearest)
        : input_(std::move(input))
        , back_(back)
        , nearest_(nearest)
    { }

    // The pixels of the input that those of `rect` are made of.
    static PixelRect needed(const CGAffineTransform& back, const PixelRect& rect)
    {
        // The centres of the corners; a point needs the pixel below and the one above each way.
        NSRect points = boundsOf(back, rect.x + 0.5, rect.y + 0.5, rect.right() - 0.5, rect.top() - 0.5);
        points.origin.x -= 0.5;
        points.origin.y -= 0.5;
        points.size.width += 1;
        points.size.height += 1;
        return pixelsTouchedBy(points);
    }

    void read(const PixelRect& rect, PixelTarget target) const override
    {
        const PixelRect from = intersection(needed(back_, rect), input_.bounds());
        if (from.area() > kSmallInput && from.area() > kMostOverhead * rect.area() && rect.area() > 1) {
            PixelRect first = rect, second = rect;
            if (rect.width >= rect.height) {
                first.width /= 2;
                second.x += first.width;
                second.width -= first.width;
            } else {
                first.height /= 2;
                second.y += first.height;
                second.height -= first.height;
            }
            read(first, target);
            read(second, {target.row(second.y - rect.y) + (second.x - rect.x), target.stride});
            return;
        }
        if (from.isEmpty()) {
            for (int y = 0; y < rect.height; ++y)
                std::fill_n(target.row(y), rect.width, Pixel{kClear});
            return;
        }
        const PixelBuffer buffer(from);
        input_.read(from, buffer.target());
        for (int y = 0; y < rect.height; ++y) {
            Pixel* row = target.row(y);
            for (int x = 0; x < rect.width; ++x)
                row[x] = sample(from, buffer, applied(back_, rect.x + x + 0.5, rect.y + y + 0.5));
        }
    }

private:
    static Lanes at(const PixelRect& from, const PixelBuffer& buffer, double x, double y)
    {
        const double column = x - from.x, row = y - from.y;
        return column >= 0 && row >= 0 && column < from.width && row < from.height
            ? buffer.row(int(row))[int(column)].lanes
            : kClear;
    }
    Pixel sample(const PixelRect& from, const PixelBuffer& buffer, Point point) const
    {
        if (nearest_)
            return {at(from, buffer, std::floor(point.x), std::floor(point.y))};
        const double x = std::floor(point.x - 0.5), y = std::floor(point.y - 0.5);
        const float right = float(point.x - 0.5 - x), up = float(point.y - 0.5 - y);
        const Lanes lower = at(from, buffer, x, y) * (1 - right) + at(from, buffer, x + 1, y) * right;
        const Lanes upper = at(from, buffer, x, y + 1) * (1 - right) + at(from, buffer, x + 1, y + 1) * right;
        return {lower * (1 - up) + upper * up};
    }

    const OpenInput input_;
    const CGAffineTransform back_;
    const bool nearest_;
};

// The input moved by whole pixels.
class ShiftSource final : public PixelSource
{
public:
    ShiftSource(OpenInput input, int x, int y)
        : input_(std::move(input))
        , x_(x)
        , y_(y)
    { }
    void read(const PixelRect& rect, PixelTarget target) const override
    {
        input_.read({rect.x - x_, rect.y - y_, rect.width, rect.height}, target);
    }

private:
    const OpenInput input_;
    const int x_, y_;
};

class TransformNode final : public ImageNode
{
public:
    TransformNode(NodeRef input, const CGAffineTransform& transform, const CGAffineTransform& back)
        : ImageNode(input->depth() + 1)
        , input_(std::move(input))
        , transform_(transform)
        , back_(back)
    {
        const NSRect rect = input_->extent();
        extent_ = CGRectIsInfinite(rect) ? rect
                                         : boundsOf(transform, rect.origin.x, rect.origin.y,
                                             rect.origin.x + rect.size.width, rect.origin.y + rect.size.height);
    }
    NSRect extent() const override { return extent_; }
    bool samplesNearest() const override { return input_->samplesNearest(); }
    const NodeRef& input() const { return input_; }
    const CGAffineTransform& transform() const { return transform_; }

    std::unique_ptr<PixelSource> open(const PixelRect& wanted, Rendering& rendering) const override
    {
        constexpr double kFarthestShift = 1 << 27;
        const double x = transform_.tx, y = transform_.ty;
        if (transform_ == CGAffineTransformMakeTranslation(x, y) && std::floor(x) == x && std::floor(y) == y
            && std::abs(x) <= kFarthestShift && std::abs(y) <= kFarthestShift) {
            const PixelRect from{wanted.x - int(x), wanted.y - int(y), wanted.width, wanted.height};
            return std::make_unique<ShiftSource>(OpenInput(*input_, from, rendering), int(x), int(y));
        }
        return std::make_unique<TransformSource>(
            OpenInput(*input_, TransformSource::needed(back_, wanted), rendering), back_, samplesNearest());
    }

private:
    const NodeRef input_;
    const CGAffineTransform transform_, back_;
    NSRect extent_;
};

} // namespace

NodeRef transformNode(NodeRef input, const CGAffineTransform& transform)
{
    if (!input)
        return nullptr;
    // Two in a row are one, so that nothing is interpolated twice.
    if (const auto* inner = dynamic_cast<const TransformNode*>(input.get())) {
        const CGAffineTransform both = CGAffineTransformConcat(inner->transform(), transform);
        return transformNode(NodeRef(inner->input()), both);
    }
    const auto& m = transform;
    const double determinant = m.a * m.d - m.b * m.c;
    if (!std::isnormal(determinant) || !std::isfinite(m.tx) || !std::isfinite(m.ty))
        return nullptr;
    CGAffineTransform back{m.d / determinant, -m.b / determinant, -m.c / determinant, m.a / determinant, 0, 0};
    back.tx = -(back.a * m.tx + back.c * m.ty);
    back.ty = -(back.b * m.tx + back.d * m.ty);
    for (const double number : {back.a, back.b, back.c, back.d, back.tx, back.ty})
        if (!std::isfinite(number))
            return nullptr;
    auto node = std::make_shared<TransformNode>(std::move(input), transform, back);
    return pixelsTouchedBy(node->extent()).isEmpty() ? nullptr : node;
}

} // namespace vitrel
