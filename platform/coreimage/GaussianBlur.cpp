#include "platform/coreimage/CIImage.h"
#include "platform/coreimage/Nodes.h"
#include "platform/coreimage/Parallel.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace vitrel {

namespace {

// Beyond it a picture of any size that we draw is one colour.
constexpr double kLargestRadius = 1000;
// Pixels that may be read for all blurs of a rendering: eight times what may be drawn. With its margins, any picture
// that is drawn at all stays below but for the largest blurs of the largest ones.
constexpr double kMostPixelsRead = 128.0 * 1024 * 1024;
// Cells that are kept, at 16 bytes each: 128 MiB.
constexpr double kMostCells = 8.0 * 1024 * 1024;
// Where the bell is cut off, in standard deviations: what is left out is below a thousandth.
constexpr double kReach = 3.5;
// Pixels on each side of a tile of cells, whose means are computed at once.
constexpr int kTileSide = 256;
// From this standard deviation on, in cells, a blur of cells can't be told from a blur of pixels.
constexpr double kLeastCells = 2.5;

int floorDivided(int value, int by)
{
    return value >= 0 ? value / by : -((by - 1 - value) / by);
}

std::vector<float> bell(double deviation)
{
    const int reach = std::max(1, int(std::ceil(kReach * deviation)));
    std::vector<double> heights;
    double sum = 0;
    for (int k = -reach; k <= reach; ++k) {
        heights.push_back(std::exp(-0.5 * k * k / (deviation * deviation)));
        sum += heights.back();
    }
    std::vector<float> result;
    for (const double height : heights)
        result.push_back(float(height / sum));
    return result;
}

// out[x] = sum of bell[k] * in[x + k].
void convolve(const Pixel* in, const std::vector<float>& weights, Pixel* out, int count)
{
    for (int x = 0; x < count; ++x) {
        Lanes sum = kClear;
        for (std::size_t k = 0; k < weights.size(); ++k)
            sum += in[std::size_t(x) + k].lanes * weights[k];
        out[x].lanes = sum;
    }
}

void addRow(Pixel* to, const Pixel* from, float weight, int count)
{
    for (int x = 0; x < count; ++x)
        to[x].lanes += from[x].lanes * weight;
}

// A small blur: rows, then columns, tile by tile.
class SmallBlurSource final : public PixelSource
{
public:
    SmallBlurSource(OpenInput input, std::vector<float> weights)
        : input_(std::move(input))
        , weights_(std::move(weights))
    { }
    void read(const PixelRect& rect, PixelTarget target) const override
    {
        const int reach = int(weights_.size() / 2);
        const PixelRect from = rect.grown(reach);
        const PixelBuffer buffer(from);
        input_.read(from, buffer.target());
        for (int y = 0; y < rect.height; ++y)
            std::fill_n(target.row(y), rect.width, Pixel{kClear});
        std::vector<Pixel> row(std::size_t(rect.width));
        for (int y = 0; y < from.height; ++y) {
            convolve(buffer.row(y), weights_, row.data(), rect.width);
            for (int k = std::max(0, y - 2 * reach); k <= std::min(y, rect.height - 1); ++k)
                addRow(target.row(k), row.data(), weights_[std::size_t(y - k)], rect.width);
        }
    }

private:
    const OpenInput input_;
    const std::vector<float> weights_;
};

// A large blur: the means of square cells are blurred, and what is between their centres is a cubic B-spline through
// them. Means and spline blur, too, by variances that are known, so that the cells get what is missing; together they
// are a bell to within a thousandth, for a tenth of the work.
struct CellPlan {
    int side = 1; // a power of two
    std::vector<float> weights;
    // For each pixel of a cell, how many cells before its own the spline's four begin, and their weights.
    struct Spline {
        int before;
        float weights[4];
    };
    std::vector<Spline> splines;

    explicit CellPlan(double radius)
    {
        while (2 * side * kLeastCells <= radius)
            side *= 2;
        const double pixels = double(side) * side;
        weights = bell(std::sqrt((radius * radius - (pixels - 1) / 12) / pixels - 1.0 / 3));
        for (int k = 0; k < side; ++k) {
            const bool lower = 2 * k < side; // left of its own cell's centre
            const double t = (k + 0.5) / side + (lower ? 0.5 : -0.5), u = 1 - t;
            splines.push_back({lower ? 2 : 1,
                {float(u * u * u / 6), float((3 * t * t * t - 6 * t * t + 4) / 6),
                    float((3 * u * u * u - 6 * u * u + 4) / 6), float(t * t * t / 6)}});
        }
    }
    int reach() const { return int(weights.size() / 2); }
    // The cells that the pixels of `rect` are made of, in cells.
    PixelRect cellsOf(const PixelRect& rect) const
    {
        const int x = floorDivided(rect.x, side) - 2, y = floorDivided(rect.y, side) - 2;
        return {x, y, floorDivided(rect.right() - 1, side) + 3 - x, floorDivided(rect.top() - 1, side) + 3 - y};
    }
};

class CellBlurSource final : public PixelSource
{
public:
    // `wanted` as in ImageNode::open. Computes the cells, their rows blurred.
    CellBlurSource(const CellPlan& plan, const PixelRect& wanted, const OpenInput& input)
        : plan_(plan)
        , cells_(plan.cellsOf(wanted).grown(plan.reach()))
        , buffer_(cells_)
    {
        // Tiles that are nearly square: a chain of small blurs beneath reads its margins again for each.
        const int tile = std::max(1, kTileSide / plan.side);
        const int columns = (cells_.width + tile - 1) / tile, rows = (cells_.height + tile - 1) / tile;
        forEachInParallel(std::size_t(columns) * std::size_t(rows), [&](std::size_t index) {
            const int x = int(index) % columns * tile, y = int(index) / columns * tile;
            computeMeans({x, y, std::min(tile, cells_.width - x), std::min(tile, cells_.height - y)}, input);
        });
        forEachInParallel(std::size_t(cells_.height), [&](std::size_t row) { blurRow(int(row)); });
    }
    static PixelRect pixelsNeeded(const CellPlan& plan, const PixelRect& wanted)
    {
        const PixelRect cells = plan.cellsOf(wanted).grown(plan.reach());
        return {cells.x * plan.side, cells.y * plan.side, cells.width * plan.side, cells.height * plan.side};
    }

    void read(const PixelRect& rect, PixelTarget target) const override
    {
        const PixelRect cells = plan_.cellsOf(rect);
        std::vector<Pixel> column(std::size_t(cells.width));
        for (int y = 0; y < rect.height; ++y) {
            blurColumns(rect.y + y, cells, column);
            Pixel* row = target.row(y);
            for (int x = 0; x < rect.width; ++x) {
                const int cell = floorDivided(rect.x + x, plan_.side);
                const auto& spline = plan_.splines[std::size_t(rect.x + x - cell * plan_.side)];
                const Pixel* four = column.data() + (cell - spline.before - cells.x);
                row[x].lanes = four[0].lanes * spline.weights[0] + four[1].lanes * spline.weights[1]
                    + four[2].lanes * spline.weights[2] + four[3].lanes * spline.weights[3];
            }
        }
    }

private:
    // The means of `part` of the cells, counted from the first.
    void computeMeans(const PixelRect& part, const OpenInput& input)
    {
        const int side = plan_.side;
        const PixelRect from{
            (cells_.x + part.x) * side, (cells_.y + part.y) * side, part.width * side, part.height * side};
        const PixelBuffer pixels(from);
        input.read(from, pixels.target());
        const float share = 1 / float(side * side);
        for (int row = 0; row < part.height; ++row) {
            Pixel* means = buffer_.row(part.y + row) + part.x;
            std::fill_n(means, part.width, Pixel{kClear});
            for (int y = row * side; y < (row + 1) * side; ++y) {
                const Pixel* in = pixels.row(y);
                for (int k = 0; k < part.width; ++k)
                    for (int x = 0; x < side; ++x)
                        means[k].lanes += (in++)->lanes;
            }
            for (int k = 0; k < part.width; ++k)
                means[k].lanes *= share;
        }
    }

    // Leaves the cells at both ends, which nobody reads, as they are.
    void blurRow(int row)
    {
        const int reach = plan_.reach(), count = cells_.width - 2 * reach;
        std::vector<Pixel> blurred(static_cast<std::size_t>(count));
        convolve(buffer_.row(row), plan_.weights, blurred.data(), count);
        std::copy(blurred.begin(), blurred.end(), buffer_.row(row) + reach);
    }

    // One row of pixels' worth of cells: the bell and the spline down the columns, at once.
    void blurColumns(int y, const PixelRect& cells, std::vector<Pixel>& out) const
    {
        const int cell = floorDivided(y, plan_.side);
        const auto& spline = plan_.splines[std::size_t(y - cell * plan_.side)];
        const int first = cell - spline.before - plan_.reach() - cells_.y;
        std::fill(out.begin(), out.end(), Pixel{kClear});
        const int taps = int(plan_.weights.size());
        for (int k = 0; k < taps + 3; ++k) {
            float weight = 0;
            for (int j = std::max(0, k - taps + 1); j <= std::min(3, k); ++j)
                weight += spline.weights[j] * plan_.weights[std::size_t(k - j)];
            addRow(out.data(), buffer_.row(first + k) + (cells.x - cells_.x), weight, cells.width);
        }
    }

    const CellPlan plan_;
    const PixelRect cells_; // in cells
    const PixelBuffer buffer_;
};

class BlurNode final : public ImageNode
{
public:
    BlurNode(NodeRef input, double radius)
        : ImageNode(input->depth() + 1)
        , input_(std::move(input))
        , radius_(radius)
    {
        extent_ = input_->extent();
        if (CGRectIsInfinite(extent_))
            return;
        const double reach = std::ceil(3 * radius);
        extent_ = makeRect(extent_.origin.x - reach, extent_.origin.y - reach, extent_.size.width + 2 * reach,
            extent_.size.height + 2 * reach);
    }
    NSRect extent() const override { return extent_; }
    std::unique_ptr<PixelSource> open(const PixelRect& wanted, Rendering& rendering) const override
    {
        const auto tooLarge = [&](const PixelRect& needed, double cellArea) {
            rendering.pixelsBlurred += needed.area();
            rendering.failed |= rendering.pixelsBlurred > kMostPixelsRead;
            rendering.failed |= cellArea > 1 && needed.area() / cellArea > kMostCells;
            return rendering.failed;
        };
        if (radius_ < 2 * kLeastCells) {
            const auto weights = bell(radius_);
            const PixelRect needed = wanted.grown(int(weights.size() / 2));
            if (tooLarge(needed, 1))
                return nullptr;
            return std::make_unique<SmallBlurSource>(OpenInput(*input_, needed, rendering), weights);
        }
        const CellPlan plan(radius_);
        const PixelRect needed = CellBlurSource::pixelsNeeded(plan, wanted);
        if (tooLarge(needed, double(plan.side) * plan.side))
            return nullptr;
        const OpenInput input(*input_, needed, rendering);
        return rendering.failed ? nullptr : std::make_unique<CellBlurSource>(plan, wanted, input);
    }

private:
    const NodeRef input_;
    const double radius_;
    NSRect extent_;
};

} // namespace

NodeRef blurNode(NodeRef input, double radius)
{
    // Below it the bell is a single pixel.
    constexpr double kLeastRadius = 0.1;
    if (!input || std::isnan(radius))
        return nullptr;
    if (radius < kLeastRadius)
        return input;
    return std::make_shared<BlurNode>(std::move(input), std::min(radius, kLargestRadius));
}

} // namespace vitrel
