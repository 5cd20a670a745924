// Where on the canvas corners lie: what they cover, how dense their images are, lines and points as rectangles.
#include "platform/quartzcomposer/drawing/GLCanvas.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace vitrel::qc {

// A rectangle comes as two triangles, each with a level and an upright side.
bool GLCanvas::areUpright(std::span<const CanvasVertex> triangles)
{
    for (std::size_t k = 0; k + 3 <= triangles.size(); k += 3) {
        bool level = false, upright = false;
        for (std::size_t side = 0; side < 3; ++side) {
            const float *a = triangles[k + side].position, *b = triangles[k + (side + 1) % 3].position;
            const float wx = a[0] * b[3] - b[0] * a[3], wy = a[1] * b[3] - b[1] * a[3];
            const float slack = 1e-5f * std::fabs(a[3] * b[3]);
            upright = upright || std::fabs(wx) <= slack;
            level = level || std::fabs(wy) <= slack;
        }
        if (!level || !upright)
            return false;
    }
    return true;
}

// As many as it covers at most.
double GLCanvas::pixelsOf(const CanvasVertex& a, const CanvasVertex& b, const CanvasVertex& c) const
{
    const CanvasVertex* const v[] = {&a, &b, &c};
    const double target = double(targets_.back().texture()->width()) * targets_.back().texture()->height();
    double x[3], y[3];
    for (int k = 0; k < 3; ++k) {
        const double w = v[k]->position[3];
        if (w <= 0)
            return target; // it reaches behind the eye
        x[k] = v[k]->position[0] / w;
        y[k] = v[k]->position[1] / w;
    }
    const auto within = [](const double(&c)[3]) {
        return std::max(
            0.0, std::min(1.0, std::max({c[0], c[1], c[2]})) - std::max(-1.0, std::min({c[0], c[1], c[2]})));
    };
    const double whole = std::fabs((x[1] - x[0]) * (y[2] - y[0]) - (x[2] - x[0]) * (y[1] - y[0])) / 2;
    return std::min(whole, within(x) * within(y)) / 4 * target;
}

double GLCanvas::pixelsOf(const CanvasVertex& from, const CanvasVertex& to) const
{
    const Texture& pixels = *targets_.back().texture();
    const double side = std::max(pixels.width(), pixels.height());
    if (from.position[3] <= 0 || to.position[3] <= 0)
        return side;
    const auto along = [&](int k) {
        return std::fabs(double(from.position[k]) / from.position[3] - double(to.position[k]) / to.position[3]);
    };
    return std::min(side, std::max(along(0) * pixels.width(), along(1) * pixels.height()) / 2);
}

// How many texels of the full image fall on a pixel, along two of a triangle's sides.
GLCanvas::Density GLCanvas::texelsPerPixel(std::span<const CanvasVertex> v, const Extent& extent) const
{
    if (v.size() < 3 || extent.infinite)
        return {1, 1};
    const Texture& pixels = *targets_.back().texture();
    const auto inPixels = [&](const CanvasVertex& p) {
        const double w = std::fabs(p.position[3]) > 1e-6f ? p.position[3] : 1e-6;
        return std::array<double, 2>{p.position[0] / w * pixels.width() / 2, p.position[1] / w * pixels.height() / 2};
    };
    Density density{1e9, 0};
    for (const int k : {1, 2}) {
        const auto a = inPixels(v[k - 1]), b = inPixels(v[k]);
        const double texels = std::hypot((v[k].texture[0] - v[k - 1].texture[0]) * extent.width,
            (v[k].texture[1] - v[k - 1].texture[1]) * extent.height);
        const double along = texels / std::max(std::hypot(b[0] - a[0], b[1] - a[1]), 1e-3);
        density.least = std::min(density.least, along);
        density.most = std::max(density.most, along);
    }
    return density;
}

// Wider lines and points as rectangles, since the core profile promises lines of one pixel only.
std::vector<CanvasVertex> GLCanvas::widened(
    Primitive primitive, std::span<const CanvasVertex> vertices, float size) const
{
    std::vector<CanvasVertex> out;
    const float halfX = size / static_cast<float>(width()), halfY = size / static_cast<float>(height());
    const auto moved = [](CanvasVertex v, float x, float y) {
        v.position[0] += x * v.position[3];
        v.position[1] += y * v.position[3];
        return v;
    };
    const std::size_t step = primitive == Primitive::Lines ? 2 : 1;
    for (std::size_t k = 0; k + step <= vertices.size(); k += step) {
        const CanvasVertex &a = vertices[k], &b = vertices[k + step - 1];
        if (a.position[3] <= 0 || b.position[3] <= 0)
            continue;
        float acrossX = halfX, acrossY = 0, alongX = 0, alongY = halfY;
        if (primitive == Primitive::Lines) {
            const float x
                = (b.position[0] / b.position[3] - a.position[0] / a.position[3]) * static_cast<float>(width()),
                y = (b.position[1] / b.position[3] - a.position[1] / a.position[3]) * static_cast<float>(height()),
                length = std::max(std::hypot(x, y), 1e-6f);
            acrossX = -y / length * halfX;
            acrossY = x / length * halfY;
            alongX = alongY = 0;
        }
        CanvasVertex p = moved(a, -acrossX - alongX, -acrossY - alongY),
                     q = moved(b, -acrossX + alongX, -acrossY + alongY),
                     r = moved(b, acrossX + alongX, acrossY + alongY), s = moved(a, acrossX - alongX, acrossY - alongY);
        if (primitive == Primitive::Points) // each shows the whole image
            for (const auto& [corner, u, v] :
                {std::tuple(&p, 0.f, 0.f), {&q, 0.f, 1.f}, {&r, 1.f, 1.f}, {&s, 1.f, 0.f}}) {
                corner->texture[0] = u;
                corner->texture[1] = v;
            }
        out.insert(out.end(), {p, q, r, p, r, s});
    }
    return out;
}

} // namespace vitrel::qc
