// The operations that look at a pixel, or at the few around a point.
#include "platform/coreimage/CIImage.h"
#include "platform/coreimage/Nodes.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vitrel {

namespace {

int depthOver(const NodeRef& input)
{
    return input->depth() + 1;
}

class BitmapSource final : public PixelSource
{
public:
    explicit BitmapSource(std::shared_ptr<const Bitmap> bitmap)
        : bitmap_(std::move(bitmap))
    { }
    void read(const PixelRect& rect, PixelTarget target) const override
    {
        for (int y = 0; y < rect.height; ++y) {
            const auto row = std::size_t(bitmap_->height - 1 - rect.y - y);
            const auto* words = bitmap_->pixels.data() + row * std::size_t(bitmap_->width) + rect.x;
            unpackRow(words, target.row(y), rect.width);
        }
    }

private:
    const std::shared_ptr<const Bitmap> bitmap_;
};

class BitmapNode final : public ImageNode
{
public:
    explicit BitmapNode(NSBitmapImageRep representation)
        : ImageNode(1)
        , representation_(std::move(representation))
    { }
    NSRect extent() const override
    {
        return makeRect(0, 0, representation_.pixelsWide(), representation_.pixelsHigh());
    }
    std::unique_ptr<PixelSource> open(const PixelRect&, Rendering& rendering) const override
    {
        const auto& bitmap = representation_.bitmap();
        if (bitmap && bitmap->width == representation_.pixelsWide() && bitmap->height == representation_.pixelsHigh()
            && bitmap->pixels.size() == std::size_t(bitmap->width) * std::size_t(bitmap->height))
            return std::make_unique<BitmapSource>(bitmap);
        rendering.failed = true;
        return nullptr;
    }

private:
    const NSBitmapImageRep representation_;
};

class ConstantSource final : public PixelSource
{
public:
    explicit ConstantSource(const Pixel& pixel)
        : pixel_(pixel)
    { }
    void read(const PixelRect& rect, PixelTarget target) const override
    {
        for (int y = 0; y < rect.height; ++y)
            std::fill_n(target.row(y), rect.width, pixel_);
    }

private:
    const Pixel pixel_;
};

class ConstantNode final : public ImageNode
{
public:
    explicit ConstantNode(const CIColor& color)
        : ImageNode(1)
    {
        const double alpha = color.alpha > 0 ? std::min(color.alpha, 1.0) : 0;
        const auto light = [&](double channel) { return channel > 0 ? float(linearLight(channel) * alpha) : 0.0f; };
        pixel_.lanes = Lanes{light(color.blue), light(color.green), light(color.red), float(alpha)};
    }
    NSRect extent() const override { return CGRectInfinite; }
    std::unique_ptr<PixelSource> open(const PixelRect&, Rendering&) const override
    {
        return std::make_unique<ConstantSource>(pixel_);
    }

private:
    Pixel pixel_;
};

// Gives its input on, within the bounds that that was opened for.
class PartSource final : public PixelSource
{
public:
    explicit PartSource(OpenInput input)
        : input_(std::move(input))
    { }
    void read(const PixelRect& rect, PixelTarget target) const override { input_.read(rect, target); }

private:
    const OpenInput input_;
};

// A part of what is beneath, pixel for pixel, or all of it, to be taken pixel by pixel.
class PartNode final : public ImageNode
{
public:
    PartNode(NodeRef input, const NSRect& extent, bool samplesNearest)
        : ImageNode(depthOver(input))
        , input_(std::move(input))
        , extent_(extent)
        , samplesNearest_(samplesNearest)
    { }
    NSRect extent() const override { return extent_; }
    bool samplesNearest() const override { return samplesNearest_; }
    std::unique_ptr<PixelSource> open(const PixelRect& wanted, Rendering& rendering) const override
    {
        return std::make_unique<PartSource>(OpenInput(*input_, wanted, rendering));
    }

private:
    const NodeRef input_;
    const NSRect extent_;
    const bool samplesNearest_;
};

class ClampSource final : public PixelSource
{
public:
    ClampSource(OpenInput input, const PixelRect& edges)
        : input_(std::move(input))
        , edges_(edges)
    { }
    void read(const PixelRect& rect, PixelTarget target) const override
    {
        const PixelRect inner = held(rect, edges_);
        // The inner part goes to its own place, the rest is copied from there.
        const int left = std::clamp(inner.x - rect.x, 0, rect.width - inner.width);
        const int bottom = std::clamp(inner.y - rect.y, 0, rect.height - inner.height);
        input_.read(inner, {target.row(bottom) + left, target.stride});
        for (int y = bottom; y < bottom + inner.height; ++y) {
            Pixel* row = target.row(y);
            std::fill(row, row + left, row[left]);
            const int last = left + inner.width - 1;
            std::fill(row + last + 1, row + rect.width, row[last]);
        }
        for (int y = 0; y < rect.height; ++y) {
            const int from = std::clamp(y, bottom, bottom + inner.height - 1);
            if (from != y)
                std::copy_n(target.row(from), rect.width, target.row(y));
        }
    }
    // The pixels within `edges` that stand for those of `rect`.
    static PixelRect held(const PixelRect& rect, const PixelRect& edges)
    {
        const int x = std::clamp(rect.x, edges.x, edges.right() - 1);
        const int y = std::clamp(rect.y, edges.y, edges.top() - 1);
        return {x, y, std::clamp(rect.right() - 1, edges.x, edges.right() - 1) - x + 1,
            std::clamp(rect.top() - 1, edges.y, edges.top() - 1) - y + 1};
    }

private:
    const OpenInput input_;
    const PixelRect edges_;
};

class ClampNode final : public ImageNode
{
public:
    explicit ClampNode(NodeRef input)
        : ImageNode(depthOver(input))
        , input_(std::move(input))
        , edges_(pixelsTouchedBy(input_->extent()))
    { }
    NSRect extent() const override { return CGRectInfinite; }
    std::unique_ptr<PixelSource> open(const PixelRect& wanted, Rendering& rendering) const override
    {
        return std::make_unique<ClampSource>(OpenInput(*input_, ClampSource::held(wanted, edges_), rendering), edges_);
    }

private:
    const NodeRef input_;
    const PixelRect edges_;
};

class ExposureSource final : public PixelSource
{
public:
    ExposureSource(OpenInput input, float factor)
        : input_(std::move(input))
        , factor_(factor)
    { }
    void read(const PixelRect& rect, PixelTarget target) const override
    {
        const Lanes factors = {factor_, factor_, factor_, 1};
        input_.read(rect, target);
        for (int y = 0; y < rect.height; ++y) {
            Pixel* row = target.row(y);
            for (int x = 0; x < rect.width; ++x)
                row[x].lanes *= factors;
        }
    }

private:
    const OpenInput input_;
    const float factor_;
};

class ExposureNode final : public ImageNode
{
public:
    ExposureNode(NodeRef input, float factor)
        : ImageNode(depthOver(input))
        , input_(std::move(input))
        , factor_(factor)
    { }
    NSRect extent() const override { return input_->extent(); }
    std::unique_ptr<PixelSource> open(const PixelRect& wanted, Rendering& rendering) const override
    {
        return std::make_unique<ExposureSource>(OpenInput(*input_, wanted, rendering), factor_);
    }

private:
    const NodeRef input_;
    const float factor_;
};

class OverSource final : public PixelSource
{
public:
    OverSource(OpenInput input, OpenInput background)
        : input_(std::move(input))
        , background_(std::move(background))
    { }
    void read(const PixelRect& rect, PixelTarget target) const override
    {
        if (intersection(rect, input_.bounds()).isEmpty()) {
            background_.read(rect, target);
            return;
        }
        input_.read(rect, target);
        // What nobody sees isn't computed.
        if (covers(rect, target))
            return;
        const PixelBuffer below(rect);
        background_.read(rect, below.target());
        for (int y = 0; y < rect.height; ++y) {
            Pixel* row = target.row(y);
            const Pixel* under = below.row(y);
            for (int x = 0; x < rect.width; ++x)
                row[x].lanes += under[x].lanes * (1 - row[x].alpha());
        }
    }

private:
    static bool covers(const PixelRect& rect, PixelTarget target)
    {
        for (int y = 0; y < rect.height; ++y) {
            const Pixel* row = target.row(y);
            if (!std::all_of(row, row + rect.width, [](const Pixel& pixel) { return pixel.alpha() >= 1; }))
                return false;
        }
        return true;
    }
    const OpenInput input_, background_;
};

class OverNode final : public ImageNode
{
public:
    OverNode(NodeRef input, NodeRef background)
        : ImageNode(std::max(depthOver(input), depthOver(background)))
        , input_(std::move(input))
        , background_(std::move(background))
    {
        const NSRect a = input_->extent(), b = background_->extent();
        const double left = std::min(a.origin.x, b.origin.x), bottom = std::min(a.origin.y, b.origin.y);
        extent_ = CGRectIsInfinite(a) || CGRectIsInfinite(b)
            ? CGRectInfinite
            : makeRect(left, bottom, std::max(a.origin.x + a.size.width, b.origin.x + b.size.width) - left,
                std::max(a.origin.y + a.size.height, b.origin.y + b.size.height) - bottom);
    }
    NSRect extent() const override { return extent_; }
    std::unique_ptr<PixelSource> open(const PixelRect& wanted, Rendering& rendering) const override
    {
        OpenInput input(*input_, wanted, rendering);
        return std::make_unique<OverSource>(std::move(input), OpenInput(*background_, wanted, rendering));
    }

private:
    const NodeRef input_, background_;
    NSRect extent_;
};

} // namespace

NodeRef bitmapNode(NSBitmapImageRep representation)
{
    if (representation.pixelsWide() < 1 || representation.pixelsHigh() < 1)
        return nullptr;
    return std::make_shared<BitmapNode>(std::move(representation));
}

NodeRef constantNode(const CIColor& color)
{
    return std::make_shared<ConstantNode>(color);
}

NodeRef clampNode(NodeRef input)
{
    return input ? std::make_shared<ClampNode>(std::move(input)) : nullptr;
}

NodeRef cropNode(NodeRef input, const NSRect& rect)
{
    if (!input || pixelsTouchedBy(intersection(input->extent(), rect)).isEmpty())
        return nullptr;
    const NSRect extent = intersection(input->extent(), rect);
    const bool nearest = input->samplesNearest();
    return std::make_shared<PartNode>(std::move(input), extent, nearest);
}

NodeRef nearestNode(NodeRef input)
{
    if (!input)
        return nullptr;
    const NSRect extent = input->extent();
    return std::make_shared<PartNode>(std::move(input), extent, true);
}

NodeRef overNode(NodeRef input, NodeRef background)
{
    if (!input || !background)
        return input ? input : background;
    return std::make_shared<OverNode>(std::move(input), std::move(background));
}

// The platform works in linear light, where a stop is twice the light whatever the picture's curve.
NodeRef exposureNode(NodeRef input, double stops)
{
    if (!input || std::isnan(stops))
        return nullptr;
    // Beyond it all is white or black, and a finite factor keeps 0 what it is.
    constexpr double kMostStops = 64;
    return std::make_shared<ExposureNode>(
        std::move(input), float(std::exp2(std::clamp(stops, -kMostStops, kMostStops))));
}

} // namespace vitrel
