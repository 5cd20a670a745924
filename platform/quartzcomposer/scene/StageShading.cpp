// How a stage hands its nodes on to an author's program.
#include "platform/quartzcomposer/scene/Stage.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

std::array<float, 4> straight(const NSColor& c)
{
    return {static_cast<float>(c.red), static_cast<float>(c.green), static_cast<float>(c.blue),
        static_cast<float>(c.alpha)};
}

// The cofactors over the determinant; nothing for a shape without volume.
std::array<float, 9> normalMatrix(const Matrix& m)
{
    const auto at = [&](std::size_t column, std::size_t row) { return m.m[column * 4 + row]; };
    std::array<double, 9> cofactors{};
    for (std::size_t column = 0; column < 3; ++column) {
        for (std::size_t row = 0; row < 3; ++row) {
            const std::size_t c1 = (column + 1) % 3, c2 = (column + 2) % 3, r1 = (row + 1) % 3, r2 = (row + 2) % 3;
            cofactors[column * 3 + row] = at(c1, r1) * at(c2, r2) - at(c2, r1) * at(c1, r2);
        }
    }
    const double det = at(0, 0) * cofactors[0] + at(0, 1) * cofactors[1] + at(0, 2) * cofactors[2];
    std::array<float, 9> out{};
    for (std::size_t k = 0; k < out.size(); ++k)
        out[k] = det != 0 ? static_cast<float>(cofactors[k] / det) : 0;
    return out;
}

ShaderVertex shaderVertex(const SolidVertex& corner, const Matrix& local)
{
    const auto f = [](double number) { return static_cast<float>(number); };
    const Vec4 p = local * corner.position;
    const Vec3 n = local.turned(corner.normal);
    const double length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z), l = length > 0 ? length : 1;
    const NSColor& c = corner.color;
    return {{f(p.x), f(p.y), f(p.z), 1}, {f(corner.u), f(corner.v)},
        {f(c.red * c.alpha), f(c.green * c.alpha), f(c.blue * c.alpha), f(c.alpha)},
        {f(n.x / l), f(n.y / l), f(n.z / l)}};
}

} // namespace

bool Stage::drawShaded(Primitive primitive, std::span<const SolidVertex> vertices, const Matrix& shape,
    const Matrix& local, const Paint& paint)
{
    ShaderSurroundings around;
    around.modelView = view() * environment_.model * shape;
    around.projection = environment_.raster ? placed() * projection() : projection();
    around.normal = normalMatrix(around.modelView);
    if (const Lighting* lighting = environment_.lighting.get()) {
        around.ambient = straight(lighting->ambient);
        around.specular = static_cast<float>(lighting->specular);
        around.shininess = static_cast<float>(lighting->shininess);
        for (const Light& light : lighting->lights) {
            const Vec3& at = light.position;
            around.lights.push_back({{static_cast<float>(at.x), static_cast<float>(at.y), static_cast<float>(at.z), 1},
                straight(light.color), static_cast<float>(std::max(0.0, light.attenuation))});
        }
    }
    if (const Fog* fog = environment_.fog.get()) {
        around.fogColor = straight(fog->color);
        around.fogDensity = static_cast<float>(fog->density);
        around.fogStart = static_cast<float>(fog->start);
        around.fogEnd = static_cast<float>(fog->end);
    }
    std::vector<ShaderVertex> corners;
    corners.reserve(vertices.size());
    for (const SolidVertex& corner : vertices)
        corners.push_back(shaderVertex(corner, local));
    return canvas_->drawShaded(primitive, corners, *environment_.shader, around, within(paint));
}

} // namespace vitrel::qc
