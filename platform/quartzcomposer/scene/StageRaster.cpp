#include "platform/quartzcomposer/scene/Stage.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

namespace vitrel::qc {

namespace {

PixelRectangle intersection(const PixelRectangle& a, const PixelRectangle& b)
{
    const int x = std::max(a.x, b.x), y = std::max(a.y, b.y);
    return {x, y, std::max(0, std::min(a.x + a.width, b.x + b.width) - x),
        std::max(0, std::min(a.y + a.height, b.y + b.height) - y)};
}

// Seen from the eye the corners run counter-clockwise; of a triangle that reaches behind the eye too.
bool facesEye(const CanvasVertex& p, const CanvasVertex& q, const CanvasVertex& r)
{
    const CanvasVertex* const v[] = {&p, &q, &r};
    const auto at = [&v](int corner, int k) { return double(v[corner]->position[k]); };
    double sum = 0;
    for (int a = 0; a < 3; ++a) {
        const int b = (a + 1) % 3, c = (a + 2) % 3;
        sum += at(a, 3) * (at(b, 0) * at(c, 1) - at(c, 0) * at(b, 1));
    }
    return sum >= 0;
}

} // namespace

Matrix Stage::placed() const
{
    if (!environment_.raster || !environment_.raster->viewport)
        return {};
    const PixelRectangle& v = *environment_.raster->viewport;
    const double width = std::max(canvas_->width(), 1), height = std::max(canvas_->height(), 1);
    return Matrix::translation((2.0 * v.x + v.width) / width - 1, (2.0 * v.y + v.height) / height - 1, 0)
        * Matrix::scale(v.width / width, v.height / height, 1);
}

void Stage::applyRaster(Paint& paint) const
{
    const Raster& raster = *environment_.raster;
    paint.colorEquation = raster.color;
    paint.alphaEquation = raster.alpha;
    paint.discardsUpTo = raster.discardsUpTo;
    paint.scissor = raster.scissor;
    if (raster.viewport)
        paint.scissor = paint.scissor ? intersection(*paint.scissor, *raster.viewport) : *raster.viewport;
}

// Two triangles share a side, which is drawn once. Those that it may be confused with are few, and then drawn twice.
bool Stage::isNewEdge(const CanvasVertex& a, const CanvasVertex& b)
{
    const auto hash = [](const CanvasVertex& vertex) {
        std::array<std::uint32_t, 3> words;
        std::memcpy(words.data(), vertex.position, sizeof words);
        std::uint64_t sum = 0;
        for (const std::uint32_t word : words)
            sum = (sum ^ word) * 0x9E3779B97F4A7C15u;
        return sum;
    };
    const std::uint64_t key = hash(a) + hash(b) + edgesOf_;
    std::uint64_t& slot = edges_[key >> 53];
    return std::exchange(slot, key) != key;
}

// Triangles as what their side's mode makes of them; culling has seen them as triangles. Without `corners` vertices
// are corners in turn.
void Stage::drawPolygons(
    std::span<const CanvasVertex> vertices, std::span<const std::uint16_t> corners, const Paint& paint)
{
    edgesOf_ += 0xD1B54A32D192ED03u; // edges of other solids are others
    if (!corners.empty() && !environment_.raster->flat)
        return drawSides(vertices, corners, paint);
    std::vector<CanvasVertex> own;
    if (corners.empty())
        own.assign(vertices.begin(), vertices.end());
    for (const std::uint16_t corner : corners)
        own.push_back(vertices[corner]);
    if (environment_.raster->flat) {
        for (std::size_t k = 0; k + 3 <= own.size(); k += 3)
            for (int c = 0; c < 4; ++c)
                own[k].color[c] = own[k + 1].color[c] = own[k + 2].color[c];
    }
    constexpr std::size_t kMost = 3 * 20'000; // so that their numbers fit
    std::vector<std::uint16_t> inTurn(std::min(own.size() / 3 * 3, kMost));
    std::iota(inTurn.begin(), inTurn.end(), std::uint16_t(0));
    for (std::size_t k = 0; k + 3 <= own.size(); k += kMost) {
        const std::size_t count = std::min(kMost, (own.size() - k) / 3 * 3);
        drawSides(std::span(own).subspan(k, count), std::span(inTurn).first(count), paint);
    }
}

void Stage::drawSides(
    std::span<const CanvasVertex> vertices, std::span<const std::uint16_t> corners, const Paint& paint)
{
    const Raster& raster = *environment_.raster;
    auto& [filled, lines, points] = polygons_;
    for (auto& each : polygons_)
        each.clear();
    for (std::size_t k = 0; k + 3 <= corners.size(); k += 3) {
        const std::array v{corners[k], corners[k + 1], corners[k + 2]};
        const bool front = facesEye(vertices[v[0]], vertices[v[1]], vertices[v[2]]);
        if (paint.culling == (front ? Culling::FrontFaces : Culling::BackFaces))
            continue;
        const PolygonMode mode = front ? raster.front : raster.back;
        if (mode == PolygonMode::Lines) {
            for (std::size_t side = 0; side < 3; ++side) {
                const std::uint16_t from = v[side], to = v[(side + 1) % 3];
                if (isNewEdge(vertices[from], vertices[to]))
                    lines.insert(lines.end(), {from, to});
            }
        } else {
            auto& whole = mode == PolygonMode::Filled ? filled : points;
            whole.insert(whole.end(), v.begin(), v.end());
        }
    }
    Paint each = paint;
    each.culling = Culling::None;
    if (!filled.empty())
        canvas_->drawShared(Primitive::Triangles, vertices, filled, each);
    each.lineWidth = raster.lineWidth;
    if (!lines.empty())
        canvas_->drawShared(Primitive::Lines, vertices, lines, each);
    each.lineWidth = raster.pointSize;
    if (!points.empty())
        canvas_->drawShared(Primitive::Points, vertices, points, each);
}

} // namespace vitrel::qc
