#pragma once

#include "platform/quartzcomposer/scene/Canvas.h"

#include <array>

namespace vitrel::qc {

// How far one can see, roughly: the picture in tiles, each with a depth that everything in it is known to be nearer
// than. Triangles behind that need not be drawn. Right as long as depths only come nearer: forget it when they are
// cleared.
class Occlusion
{
public:
    void forget() { isEmpty_ = true; }
    // False if the triangle is hidden.
    bool isSeen(const CanvasVertex& a, const CanvasVertex& b, const CanvasVertex& c) const;
    // A convex solid, three corners for each triangle, that is drawn with its depth, whole: it hides what comes after.
    void add(std::span<const CanvasVertex> solid);

private:
    static constexpr int kColumns = 80, kRows = 48;
    std::array<float, std::size_t(kColumns) * kRows> depths_{}; // of tiles
    std::array<float, std::size_t(kColumns + 1) * (kRows + 1)> points_{}; // the solid's, at the corners of tiles
    bool isEmpty_ = true;
};

} // namespace vitrel::qc
