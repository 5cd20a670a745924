#include "platform/quartzcomposer/scene/Stage.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

PixelRectangle intersection(const PixelRectangle& a, const PixelRectangle& b)
{
    const int x = std::max(a.x, b.x), y = std::max(a.y, b.y);
    return {x, y, std::max(0, std::min(a.x + a.width, b.x + b.width) - x),
        std::max(0, std::min(a.y + a.height, b.y + b.height) - y)};
}

// Seen from the eye the corners run counter-clockwise; of a triangle that reaches behind the eye too.
bool facesEye(const CanvasVertex* v)
{
    const auto at = [v](int corner, int k) { return double(v[corner].position[k]); };
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

// Triangles as what their side's mode makes of them; culling has seen them as triangles.
void Stage::drawPolygons(std::vector<CanvasVertex> corners, const Paint& paint)
{
    const Raster& raster = *environment_.raster;
    std::vector<CanvasVertex> filled, lines, points;
    for (std::size_t k = 0; k + 3 <= corners.size(); k += 3) {
        CanvasVertex* v = &corners[k];
        const bool front = facesEye(v);
        if (paint.culling == (front ? Culling::FrontFaces : Culling::BackFaces))
            continue;
        if (raster.flat)
            for (int c = 0; c < 4; ++c)
                v[0].color[c] = v[1].color[c] = v[2].color[c];
        const PolygonMode mode = front ? raster.front : raster.back;
        if (mode == PolygonMode::Filled)
            filled.insert(filled.end(), {v[0], v[1], v[2]});
        else if (mode == PolygonMode::Lines)
            lines.insert(lines.end(), {v[0], v[1], v[1], v[2], v[2], v[0]});
        else
            points.insert(points.end(), {v[0], v[1], v[2]});
    }
    Paint each = paint;
    each.culling = Culling::None;
    if (!filled.empty())
        canvas_->draw(Primitive::Triangles, filled, each);
    each.lineWidth = raster.lineWidth;
    if (!lines.empty())
        canvas_->draw(Primitive::Lines, lines, each);
    each.lineWidth = raster.pointSize;
    if (!points.empty())
        canvas_->draw(Primitive::Points, points, each);
}

} // namespace vitrel::qc
