#pragma once

#include "platform/quartzcomposer/scene/Canvas.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace vitrel::qc {

// How far one can see, roughly: the picture in tiles, each with a depth that everything in it is known to be nearer
// than. Triangles behind that need not be drawn. Right as long as depths only come nearer: forget it when they are
// cleared.
class Occlusion
{
public:
    void forget() { isEmpty_ = true; }
    // A convex solid that is drawn with its depth: adds the corners of those of its triangles that aren't hidden to
    // `seen`, and from then on it hides what comes after. Corners are numbers of vertices, the first being `base`.
    void show(std::span<const CanvasVertex> vertices, std::uint32_t base, std::span<const std::uint32_t> corners,
        std::vector<std::uint32_t>& seen);

private:
    struct Place {
        float x, y, z; // tiles, and the depth from -1 to 1
        bool isThere; // ahead of the eye
    };
    struct Tiles {
        int left, right, bottom, top; // the last included
    };
    static Place placeOf(const CanvasVertex& vertex);
    static Tiles tilesOf(const Place& a, const Place& b, const Place& c);
    bool isSeen(const Place& a, const Place& b, const Place& c) const;
    void add(std::uint32_t base, std::span<const std::uint32_t> corners);

    static constexpr int kColumns = 80, kRows = 48;
    std::array<float, std::size_t(kColumns) * kRows> depths_{}; // of tiles
    std::array<float, std::size_t(kColumns + 1) * (kRows + 1)> points_{}; // the solid's, at the corners of tiles
    std::vector<Place> places_; // of the solid's vertices
    bool isEmpty_ = true;
};

} // namespace vitrel::qc
