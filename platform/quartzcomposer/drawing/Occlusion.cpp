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
    points_.fill(kNothing);
    bool covers = false;
    for (std::size_t k = 0; k + 3 <= solid.size(); k += 3) {
        Place p, q, r;
        if (!place(solid[k], kColumns, kRows, p) || !place(solid[k + 1], kColumns, kRows, q)
            || !place(solid[k + 2], kColumns, kRows, r) || std::min({p.z, q.z, r.z}) <= -1)
            return; // cut open by the near plane
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
                if (!inside(p, q, cx, cy) || !inside(q, r, cx, cy) || !inside(r, p, cx, cy))
                    continue;
                float& point = points_[static_cast<std::size_t>(y * (kColumns + 1) + x)];
                point = std::min(point, p.z + slopeX * (cx - p.x) + slopeY * (cy - p.y));
                covers = true;
            }
        }
    }
    if (!covers)
        return;
    if (isEmpty_)
        depths_.fill(kNothing);
    isEmpty_ = false;
    for (int y = 0; y < kRows; ++y) {
        for (int x = 0; x < kColumns; ++x) {
            const float* const low = &points_[static_cast<std::size_t>(y * (kColumns + 1) + x)];
            const float* const high = low + kColumns + 1;
            float& depth = depths_[static_cast<std::size_t>(y * kColumns + x)];
            depth = std::min(depth, std::max({low[0], low[1], high[0], high[1]}) + kMargin);
        }
    }
}

} // namespace vitrel::qc
