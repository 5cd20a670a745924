#pragma once

#include "platform/quartzcomposer/scene/Image.h"
#include "platform/quartzcomposer/scene/Matrix.h"

#include <array>
#include <cstdint>

namespace vitrel::qc {

// Corners and how they make up a surface. Shared and immutable. Normals, colours and places in the image are as many
// as the corners, or none.
struct Mesh {
    enum class Mode : std::uint8_t { Triangles, LineStrip, Points };

    Mode mode = Mode::Triangles;
    double pointSize = 1; // pixels
    std::vector<Vec3> vertices, normals;
    std::vector<NSColor> colors; // straight
    std::vector<std::array<double, 2>> texture; // 0, 0 at the image's bottom left
    std::vector<std::uint32_t> indices; // three a triangle; none: the triangles are a strip
    std::vector<ImageRef> images; // by part; all that is drawn is part 0

    static constexpr std::size_t kMostVertices = 200'000;

    // The corner numbers of its triangles, three each, counter-clockwise from outside.
    std::vector<std::uint32_t> triangles() const;
    // Smooth ones, of the triangles that meet in a corner, where it has none of its own.
    void computeNormals();
};

using MeshRef = std::shared_ptr<const Mesh>;

// Null for a mesh that doesn't fit beside all others of the process.
MeshRef shared(Mesh mesh);

Vec3 crossed(const Vec3& a, const Vec3& b);

} // namespace vitrel::qc
