#include "platform/quartzcomposer/drawing/Occlusion.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

// Depths differ by as much between the processor's sums and the renderer's.
constexpr float kMargin = 1e-5f;

struct Place {
    float x, y, z; // tiles, and the depth from -1 to 1
};

// False for a triangle that reaches behind the eye.
bool place(const CanvasVertex& vertex, int columns, int rows, Place& out)
{
    const float w = vertex.position[3];
    if (!(w > 1e-6f))
        return false;
    out = {(vertex.position[0] / w + 1) * 0.5f * static_cast<float>(columns),
        (vertex.position[1] / w + 1) * 0.5f * static_cast<float>(rows), vertex.position[2] / w};
    return true;
}

struct Tiles {
    int left, right, bottom, top; // the last included
};

Tiles tilesOf(const Place& a, const Place& b, const Place& c, int columns, int rows)
{
    const auto tile = [](float at, int count) {
        return static_cast<int>(std::clamp(std::floor(at), 0.0f, static_cast<float>(count - 1)));
    };
    return {tile(std::min({a.x, b.x, c.x}), columns), tile(std::max({a.x, b.x, c.x}), columns),
        tile(std::min({a.y, b.y, c.y}), rows), tile(std::max({a.y, b.y, c.y}), rows)};
}

} // namespace

bool Occlusion::isSeen(const CanvasVertex& a, const CanvasVertex& b, const CanvasVertex& c) const
{
    Place p, q, r;
    if (isEmpty_ || !place(a, kColumns, kRows, p) || !place(b, kColumns, kRows, q) || !place(c, kColumns, kRows, r))
        return true;
    const float nearest = std::min({p.z, q.z, r.z}) - kMargin;
    const Tiles tiles = tilesOf(p, q, r, kColumns, kRows);
    for (int y = tiles.bottom; y <= tiles.top; ++y) {
        for (int x = tiles.left; x <= tiles.right; ++x) {
            if (nearest <= depths_[static_cast<std::size_t>(y * kColumns + x)])
                return true;
        }
    }
    return false;
}

// The silhouette of a convex solid is convex, and so is the depth of its front: where it covers all corners of a tile,
// it covers the tile, and is nowhere in it farther than at the farthest corner.
void Occlusion::add(std::span<const CanvasVertex> solid)
{
    constexpr float kNothing = 2;
    Place low{1e9f, 1e9f, 0}, high{-1e9f, -1e9f, 0};
    for (const CanvasVertex& vertex : solid) {
        Place p;
        if (!place(vertex, kColumns, kRows, p) || p.z <= -1)
            return; // cut open by the near plane
        low = {std::min(low.x, p.x), std::min(low.y, p.y), 0};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), 0};
    }
    if (!(high.x - low.x >= 1 && high.y - low.y >= 1))
        return; // it covers no tile
    const Tiles all = tilesOf(low, low, high, kColumns, kRows);
    const auto point
        = [this](int x, int y) -> float& { return points_[static_cast<std::size_t>(y * (kColumns + 1) + x)]; };
    for (int y = all.bottom; y <= all.top + 1; ++y)
        std::fill(&point(all.left, y), &point(all.right + 1, y) + 1, kNothing);
    for (std::size_t k = 0; k + 3 <= solid.size(); k += 3) {
        Place p{}, q{}, r{};
        place(solid[k], kColumns, kRows, p);
        place(solid[k + 1], kColumns, kRows, q);
        place(solid[k + 2], kColumns, kRows, r);
        const float area = (q.x - p.x) * (r.y - p.y) - (r.x - p.x) * (q.y - p.y);
        if (area == 0)
            continue;
        const auto inside = [area](const Place& from, const Place& to, float x, float y) {
            return ((to.x - from.x) * (y - from.y) - (to.y - from.y) * (x - from.x)) * area >= 0;
        };
        const float slopeX = ((q.z - p.z) * (r.y - p.y) - (r.z - p.z) * (q.y - p.y)) / area,
                    slopeY = ((r.z - p.z) * (q.x - p.x) - (q.z - p.z) * (r.x - p.x)) / area;
        const Tiles tiles = tilesOf(p, q, r, kColumns, kRows);
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
            float& depth = depths_[static_cast<std::size_t>(y * kColumns + x)];
            depth = std::min(
                depth, std::max({point(x, y), point(x + 1, y), point(x, y + 1), point(x + 1, y + 1)}) + kMargin);
        }
    }
}

} // namespace vitrel::qc
