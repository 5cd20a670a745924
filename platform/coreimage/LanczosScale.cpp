#include "platform/coreimage/CIImage.h"
#include "platform/coreimage/Nodes.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

namespace vitrel {

namespace {

// Zero crossings of the filter on each side: sharp, with little ringing.
constexpr double kLobes = 3;
// The longest side that we draw, to one pixel. It bounds the pixels behind one pixel of the result, too.
constexpr double kLeastScale = 1.0 / 8192;
// A single pixel over all that we draw.
constexpr double kGreatestScale = 8192;
// Pixels of the input that are read at once.
constexpr int kPixelsAtOnce = 32768;

double lanczos(double x)
{
    const double angle = std::numbers::pi * x;
    if (std::abs(angle) < 1e-8)
        return 1;
    return std::abs(x) >= kLobes ? 0 : std::sin(angle) / angle * std::sin(angle / kLobes) / (angle / kLobes);
}

// How the input's pixels make those of the result along one axis.
struct Axis {
    // Of the result, and of the input; without bounds where that has no edge.
    int from = 0, count = 0, inputFrom = 0, inputCount = 0;
    double inputStart = 0, start = 0, ratio = 1; // input = inputStart + (result - start) * ratio
    bool bounded = true;

    double centreOf(int index) const { return inputStart + (index + 0.5 - start) * ratio - 0.5; }
    double support() const { return kLobes * std::max(1.0, ratio); }
};

struct Span {
    int first = 0;
    std::vector<float> weights;
    int end() const { return first + int(weights.size()); }
};

// What lies beyond the edge doesn't count, rather than as clear: a picture's own edges stay as they are.
std::vector<Span> spansOf(const Axis& axis, int from, int count)
{
    std::vector<Span> spans;
    for (int k = 0; k < count; ++k) {
        const double centre = axis.centreOf(from + k);
        int first = int(std::ceil(centre - axis.support())), last = int(std::floor(centre + axis.support()));
        if (axis.bounded) {
            const int lowest = axis.inputFrom, highest = axis.inputFrom + axis.inputCount - 1;
            first = std::clamp(first, lowest, highest);
            last = std::clamp(last, first, highest);
        }
        std::vector<double> heights;
        double sum = 0;
        for (int at = first; at <= last; ++at) {
            heights.push_back(lanczos((at - centre) / std::max(1.0, axis.ratio)));
            sum += heights.back();
        }
        Span span{first, {}};
        for (const double height : heights)
            span.weights.push_back(sum != 0 ? float(height / sum) : 1 / float(heights.size()));
        spans.push_back(std::move(span));
    }
    return spans;
}

class LanczosSource final : public PixelSource
{
public:
    LanczosSource(OpenInput input, const PixelRect& wanted, std::vector<Span> columns, std::vector<Span> rows)
        : input_(std::move(input))
        , wanted_(wanted)
        , columns_(std::move(columns))
        , rows_(std::move(rows))
    { }

    void read(const PixelRect& rect, PixelTarget target) const override
    {
        const Span* columns = columns_.data() + (rect.x - wanted_.x);
        const Span* rows = rows_.data() + (rect.y - wanted_.y);
        const int left = columns->first, right = columns[rect.width - 1].end();
        const int bottom = rows->first, top = rows[rect.height - 1].end();
        for (int y = 0; y < rect.height; ++y)
            std::fill_n(target.row(y), rect.width, Pixel{kClear});
        const int step = std::clamp(kPixelsAtOnce / (right - left), 1, top - bottom);
        const PixelBuffer buffer(PixelRect{0, 0, right - left, step});
        std::vector<Pixel> scaled(std::size_t(rect.width));
        for (int y = bottom; y < top; ++y) {
            const int inStep = (y - bottom) % step;
            if (inStep == 0)
                input_.read({left, y, right - left, std::min(step, top - y)}, buffer.target());
            scaleRow(buffer.row(inStep), columns, left, scaled);
            for (int k = 0; k < rect.height; ++k) {
                if (y < rows[k].first || y >= rows[k].end())
                    continue;
                const float weight = rows[k].weights[std::size_t(y - rows[k].first)];
                Pixel* to = target.row(k);
                for (int x = 0; x < rect.width; ++x)
                    to[x].lanes += scaled[std::size_t(x)].lanes * weight;
            }
        }
        for (int y = 0; y < rect.height; ++y)
            makeSound(target.row(y), rect.width);
    }

private:
    static void scaleRow(const Pixel* from, const Span* columns, int left, std::vector<Pixel>& out)
    {
        for (std::size_t x = 0; x < out.size(); ++x) {
            const Pixel* in = from + (columns[x].first - left);
            Lanes sum = kClear;
            for (const float weight : columns[x].weights)
                sum += (in++)->lanes * weight;
            out[x].lanes = sum;
        }
    }

    // The filter overshoots at edges: no colour below nothing or above its alpha. What is opaque but for rounding is
    // opaque.
    static void makeSound(Pixel* row, int count)
    {
        for (int x = 0; x < count; ++x) {
            float alpha = std::clamp(row[x].alpha(), 0.0f, 1.0f);
            if (alpha > 1 - 1e-5f)
                alpha = 1;
            const Lanes most = {alpha, alpha, alpha, alpha};
            Lanes lanes = row[x].lanes > kClear ? row[x].lanes : kClear;
            lanes = lanes < most ? lanes : most;
            lanes[3] = alpha;
            row[x].lanes = lanes;
        }
    }

    const OpenInput input_;
    const PixelRect wanted_;
    const std::vector<Span> columns_, rows_;
};

class LanczosNode final : public ImageNode
{
public:
    LanczosNode(NodeRef input, const Axis& x, const Axis& y, const NSRect& extent)
        : ImageNode(input->depth() + 1)
        , input_(std::move(input))
        , x_(x)
        , y_(y)
        , extent_(extent)
    { }
    NSRect extent() const override { return extent_; }
    std::unique_ptr<PixelSource> open(const PixelRect& wanted, Rendering& rendering) const override
    {
        // As many spans as a recipe needs that shrinks this in turn, and no more.
        constexpr int kMostSpans = 1 << 20;
        if (wanted.width > kMostSpans || wanted.height > kMostSpans || taps(x_, wanted.width) > kMostTaps
            || taps(y_, wanted.height) > kMostTaps || !isReadable(wanted)) {
            rendering.failed = true;
            return nullptr;
        }
        auto columns = spansOf(x_, wanted.x, wanted.width), rows = spansOf(y_, wanted.y, wanted.height);
        const PixelRect from{columns.front().first, rows.front().first, columns.back().end() - columns.front().first,
            rows.back().end() - rows.front().first};
        return std::make_unique<LanczosSource>(
            OpenInput(*input_, from, rendering), wanted, std::move(columns), std::move(rows));
    }

private:
    static constexpr double kMostTaps = 1 << 23; // weights of one axis: 32 MiB
    static double taps(const Axis& axis, int count)
    {
        const double each = 2 * axis.support() + 1;
        return count * (axis.bounded ? std::min(each, double(axis.inputCount)) : each);
    }

    // Whether what is read lies where pixels have numbers, and is read in no time. A picture of bounds is there to be
    // read; one without could be read for ever.
    bool isReadable(const PixelRect& wanted) const
    {
        constexpr double kFarthest = 1 << 28, kMostBounded = 1 << 28, kMostUnbounded = 1 << 26; // pixels
        const auto pixels = [](const Axis& axis, int from, int count) {
            const double reach
                = axis.support() + std::max(std::abs(axis.centreOf(from)), std::abs(axis.centreOf(from + count)));
            const double length = count * axis.ratio + 2 * axis.support();
            return reach > kFarthest ? kMostBounded * 2
                : axis.bounded       ? std::min(length, double(axis.inputCount))
                                     : length;
        };
        const double area = pixels(x_, wanted.x, wanted.width) * pixels(y_, wanted.y, wanted.height);
        return area <= (x_.bounded && y_.bounded ? kMostBounded : kMostUnbounded);
    }

    const NodeRef input_;
    const Axis x_, y_;
    const NSRect extent_;
};

// False if nothing is left.
bool makeAxis(Axis& axis, double start, double length, int inputFrom, int inputCount, bool bounded, double scale)
{
    axis.ratio = 1 / scale;
    axis.bounded = bounded;
    if (!bounded)
        return true;
    axis.inputFrom = inputFrom;
    axis.inputCount = inputCount;
    axis.from = int(std::round(start * scale));
    axis.count = int(std::round((start + length) * scale)) - axis.from;
    axis.start = axis.from;
    axis.inputStart = start;
    // Whole pixels that show the whole picture, and not a hair of what is beyond.
    if (axis.count > 0)
        axis.ratio = length / axis.count;
    return axis.count > 0;
}

} // namespace

NodeRef lanczosNode(NodeRef input, double scale, double aspectRatio)
{
    const double xScale = scale * aspectRatio;
    const auto isSound = [](double value) { return value >= kLeastScale && value <= kGreatestScale; };
    if (!input || !isSound(scale) || !isSound(xScale))
        return nullptr;
    const NSRect rect = input->extent();
    const PixelRect pixels = pixelsTouchedBy(rect);
    const bool bounded = !CGRectIsInfinite(rect);
    // Where numbers of pixels end, so do scaled ones.
    constexpr double kFarthest = 1 << 28;
    const double farthest = std::max({std::abs(rect.origin.x), std::abs(rect.origin.y),
        std::abs(rect.origin.x + rect.size.width), std::abs(rect.origin.y + rect.size.height)});
    if (bounded && farthest * std::max({1.0, scale, xScale}) > kFarthest)
        return nullptr;
    Axis x, y;
    if (!makeAxis(x, rect.origin.x, rect.size.width, pixels.x, pixels.width, bounded, xScale)
        || !makeAxis(y, rect.origin.y, rect.size.height, pixels.y, pixels.height, bounded, scale))
        return nullptr;
    const NSRect extent = bounded ? makeRect(x.from, y.from, x.count, y.count) : CGRectInfinite;
    return std::make_shared<LanczosNode>(std::move(input), x, y, extent);
}

} // namespace vitrel
