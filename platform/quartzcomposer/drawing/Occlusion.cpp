#include "platform/quartzcomposer/drawing/Occlusion.h"

#include <algorithm>
#include <iterator>

namespace vitrel::qc {

namespace {

// Depths differ by as much between the processor's sums and the renderer's.
constexpr float kMargin = 1e-5f;

std::size_t indexOf(int x, int y, int columns)
{
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(columns) + static_cast<std::size_t>(x);
}

} // namespace

Occlusion::Place Occlusion::placeOf(const CanvasVertex& vertex)
{
    const float w = vertex.position[3];
    if (!(w > 1e-6f))
        return {0, 0, 0, false};
    return {(vertex.position[0] / w + 1) * 0.5f * static_cast<float>(kColumns),
        (vertex.position[1] / w + 1) * 0.5f * static_cast<float>(kRows), vertex.position[2] / w, true};
}

Occlusion::Tiles Occlusion::tilesOf(const Place& a, const Place& b, const Place& c)
{
    const auto tile = [](float at, int count) { // rounded down: nothing below 0 is left then
        return static_cast<int>(std::clamp(at, 0.0f, static_cast<float>(count - 1)));
    };
    return {tile(std::min({a.x, b.x, c.x}), kColumns), tile(std::max({a.x, b.x, c.x}), kColumns),
        tile(std::min({a.y, b.y, c.y}), kRows), tile(std::max({a.y, b.y, c.y}), kRows)};
}

bool Occlusion::isSeen(const Place& a, const Place& b, const Place& c) const
{
    if (!a.isThere || !b.isThere || !c.isThere)
        return true;
    const float nearest = std::min({a.z, b.z, c.z}) - kMargin;
    const Tiles tiles = tilesOf(a, b, c);
    for (int y = tiles.bottom; y <= tiles.top; ++y) {
        for (int x = tiles.left; x <= tiles.right; ++x) {
            if (nearest <= depths_[indexOf(x, y, kColumns)])
                return true;
        }
    }
    return false;
}

void Occlusion::show(std::span<const CanvasVertex> vertices, std::uint32_t base, std::span<const std::uint32_t> corners,
    std::vector<std::uint32_t>& seen)
{
    places_.clear();
    std::transform(vertices.begin(), vertices.end(), std::back_inserter(places_), placeOf);
    if (isEmpty_) {
        seen.insert(seen.end(), corners.begin(), corners.end());
    } else {
        for (std::size_t k = 0; k + 3 <= corners.size(); k += 3) {
            const std::uint32_t* const c = &corners[k];
            if (isSeen(places_[c[0] - base], places_[c[1] - base], places_[c[2] - base]))
                seen.insert(seen.end(), c, c + 3);
        }
    }
    add(base, corners);
}

// The silhouette of a convex solid is convex, and so is the depth of its front: where it covers all corners of a tile,
// it covers the tile, and is nowhere in it farther than at the farthest corner.
void Occlusion::add(std::uint32_t base, std::span<const std::uint32_t> corners)
{
    constexpr float kNothing = 2;
    Place low{1e9f, 1e9f, 0, true}, high{-1e9f, -1e9f, 0, true};
    for (const Place& p : places_) {
        if (!p.isThere || p.z <= -1)
            return; // cut open by the near plane
        low = {std::min(low.x, p.x), std::min(low.y, p.y), 0, true};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), 0, true};
    }
    if (!(high.x - low.x >= 1 && high.y - low.y >= 1))
        return; // it covers no tile
    const Tiles all = tilesOf(low, low, high);
    const auto point = [this](int x, int y) -> float& { return points_[indexOf(x, y, kColumns + 1)]; };
    for (int y = all.bottom; y <= all.top + 1; ++y)
        std::fill(&point(all.left, y), &point(all.right + 1, y) + 1, kNothing);
    for (std::size_t k = 0; k + 3 <= corners.size(); k += 3) {
        const Place &p = places_[corners[k] - base], &q = places_[corners[k + 1] - base],
                    &r = places_[corners[k + 2] - base];
        const float area = (q.x - p.x) * (r.y - p.y) - (r.x - p.x) * (q.y - p.y);
        if (area == 0)
            continue;
        const auto inside = [area](const Place& from, const Place& to, float x, float y) {
            return ((to.x - from.x) * (y - from.y) - (to.y - from.y) * (x - from.x)) * area >= 0;
        };
        const float slopeX = ((q.z - p.z) * (r.y - p.y) - (r.z - p.z) * (q.y - p.y)) / area,
                    slopeY = ((r.z - p.z) * (q.x - p.x) - (q.z - p.z) * (r.x - p.x)) / area;
        const Tiles tiles = tilesOf(p, q, r);
        for (int y = tiles.bottom; y <= tiles.top + 1; ++y) {
            for (int x = tiles.left; x <= tiles.right + 1; ++x) {
                const auto cx = static_cast<float>(x), cy = static_cast<float>(y);
                if (inside(p, q, cx, cy) && inside(q, r, cx, cy) && inside(r, p, cx, cy))
                    point(x, y) = std::min(point(x, y), p.z + slopeX * (cx - p.x) + slopeY * (cy - p.y));
            }
        }
    }
    if (isEmpty_)
        depths_.fill(kNothing);
    isEmpty_ = false;
    for (int y = all.bottom; y <= all.top; ++y) {
        for (int x = all.left; x <= all.right; ++x) {
            float& depth = depths_[indexOf(x, y, kColumns)];
            depth = std::min(
                depth, std::max({point(x, y), point(x + 1, y), point(x, y + 1), point(x + 1, y + 1)}) + kMargin);
        }
    }
}

} // namespace vitrel::qc
