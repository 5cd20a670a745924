#include "platform/quartzcomposer/scene/Mesh.h"

#include <algorithm>
#include <atomic>

namespace vitrel::qc {

namespace {

// Of all meshes that are alive, 100 bytes a corner.
constexpr std::size_t kMostLiving = 1'000'000;
std::atomic<std::size_t> living{0};

Vec3 between(const Vec3& from, const Vec3& to)
{
    return {to.x - from.x, to.y - from.y, to.z - from.z};
}

} // namespace

Vec3 crossed(const Vec3& a, const Vec3& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

MeshRef shared(Mesh mesh)
{
    // Lists may be longer than the corners are many.
    const std::size_t size = std::max({mesh.vertices.size(), mesh.indices.size() / 4, mesh.normals.size(),
        mesh.colors.size(), mesh.texture.size(), std::size_t(1)});
    if (living + size > kMostLiving)
        return nullptr;
    living += size;
    return MeshRef(new Mesh(std::move(mesh)), [size](const Mesh* gone) {
        living -= size;
        delete gone;
    });
}

std::vector<std::uint32_t> Mesh::triangles() const
{
    std::vector<std::uint32_t> all;
    const auto count = static_cast<std::uint32_t>(vertices.size());
    if (mode != Mode::Triangles)
        return all;
    for (std::size_t k = 0; k + 3 <= indices.size(); k += 3) {
        const std::uint32_t a = indices[k], b = indices[k + 1], c = indices[k + 2];
        if (a < count && b < count && c < count)
            all.insert(all.end(), {a, b, c});
    }
    // In a strip every other triangle runs the other way round.
    for (std::uint32_t k = 0; indices.empty() && k + 3 <= count; ++k)
        all.insert(all.end(), {k + k % 2, k + 1 - k % 2, k + 2});
    return all;
}

void Mesh::computeNormals()
{
    if (!normals.empty() || mode != Mode::Triangles)
        return;
    normals.assign(vertices.size(), {});
    const auto all = triangles();
    for (std::size_t k = 0; k < all.size(); k += 3) {
        const Vec3& a = vertices[all[k]];
        // As long as the triangle is large: large ones count more.
        const Vec3 n = crossed(between(a, vertices[all[k + 1]]), between(a, vertices[all[k + 2]]));
        for (std::size_t corner = k; corner < k + 3; ++corner) {
            Vec3& sum = normals[all[corner]];
            sum = {sum.x + n.x, sum.y + n.y, sum.z + n.z};
        }
    }
    for (Vec3& n : normals) {
        const double length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
        n = length > 0 && std::isfinite(length) ? Vec3{n.x / length, n.y / length, n.z / length} : Vec3{0, 0, 1};
    }
}

} // namespace vitrel::qc
