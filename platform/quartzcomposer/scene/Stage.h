#pragma once

#include "platform/quartzcomposer/scene/Canvas.h"
#include "platform/quartzcomposer/scene/Matrix.h"
#include "platform/quartzcomposer/scene/Raster.h"
#include "platform/quartzcomposer/scene/Recording.h"

#include <vector>

namespace vitrel::qc {

struct Light {
    NSColor color;
    Vec3 position; // in the coordinates of the eye
    double attenuation = 0;
};

struct Lighting {
    NSColor ambient{0.1, 0.1, 0.1, 1};
    double specular = 0.5, shininess = 128;
    bool twoSides = false;
    bool separateSpecular = false; // what shines lies over the image, not beneath it
    std::vector<Light> lights;
};

struct Fog {
    int kind = 0; // 0 linear, 1 exponential, 2 exponential squared
    NSColor color;
    double density = 1, start = 0, end = 1;
};

struct SortedBody;

// What environment macros change for their nodes.
struct Environment {
    Matrix model;
    double fieldOfView = 60; // degrees, horizontal
    std::shared_ptr<const Lighting> lighting; // null: everything has its own colour
    std::shared_ptr<const Fog> fog;
    std::uint8_t colorMask = 0xF;
    std::shared_ptr<const ShaderUse> shader; // null: the usual drawing
    std::shared_ptr<const Raster> raster; // null: as usual
    std::shared_ptr<std::vector<SortedBody>> sorted; // what waits to be drawn by its distance; null: nothing does
};

// A corner of a solid in its own coordinates. `color` is straight.
struct SolidVertex {
    Vec3 position, normal;
    double u = 0, v = 0;
    NSColor color{1, 1, 1, 1};
};

// A rectangle that is drawn later than its turn, where it was.
struct SortedBody {
    double distance = 0; // from the eye
    std::array<SolidVertex, 6> corners;
    Matrix place;
    Paint paint;
    std::shared_ptr<const Environment> environment;
};

// The three-dimensional side of a canvas: coordinates with the origin in the middle and a width of 2, the eye that
// makes the plane z = 0 fit the target, environments that nest, light per corner. Everything is transformed and lit
// here, so that a canvas sees corners in clip space alone.
class Stage
{
public:
    explicit Stage(Canvas& canvas)
        : canvas_(&canvas)
        , outermost_(canvas)
    { }

    // What is drawn on now: the canvas that it was made with, or a picture within it.
    Canvas& canvas() { return *canvas_; }
    Environment& environment() { return environment_; }

    // Whether what is clear leaves no depth, as compositions of younger runtimes expect it.
    bool discardsClear = false;

    // Width over height of the target, and its height in units; the width is 2.
    double aspect() const;
    double heightInUnits() const { return 2 / aspect(); }
    // Units that one pixel measures.
    double unitsPerPixel() const { return 2.0 / canvas_->width(); }

    // Draws corners of a shape under `shape` and the environment. `local` acts first: what belongs to the body itself,
    // such as its size, which an author's program finds in the corners.
    void draw(Primitive primitive, std::span<const SolidVertex> vertices, const Matrix& shape, const Paint& paint,
        bool lit = true, const Matrix& local = {});
    // The same for triangles that share corners, three numbers of them each: each corner is transformed and lit once.
    void drawShared(std::span<const SolidVertex> vertices, std::span<const std::uint16_t> corners, const Matrix& shape,
        const Paint& paint, const Matrix& local = {});
    // The same on the screen's plane: no environment, no light, no fog. Units.
    void drawFlat(std::span<const SolidVertex> vertices, const Matrix& shape, const Paint& paint);

    // Where on the plane z = 0 the environment shows a point of its coordinates.
    Vec3 projected(const Vec3& point) const;
    // A point of the current coordinates in those of the eye, where lights live.
    Vec3 toEye(const Vec3& point) const;

    // A picture that was drawn, and what it was drawn from.
    struct Drawn {
        ImageRef image;
        std::string fingerprint;
    };
    // What is drawn between the two lands in an image of its own, with a fresh environment. They nest. If it is what
    // `last` was drawn from, nothing is drawn and `last` stays.
    void beginImage(int width, int height, bool depth, bool deep = false);
    void endImage(Drawn& last);
    // As a canvas says it.
    ImageRef realized(const ImageRef& image) { return outermost_.realized(image); }

private:
    bool drawShaded(Primitive primitive, std::span<const SolidVertex> vertices, const Matrix& shape,
        const Matrix& local, const Paint& paint);
    Paint within(const Paint& paint) const;
    void transform(std::span<const SolidVertex> vertices, const Matrix& shape, const Paint& paint, bool lit);
    void show(Primitive primitive, const Paint& paint);
    void showShared(const Paint& paint);
    Paint shining(const Paint& paint) const;
    void cutBehindTheEye(Primitive primitive);
    Matrix placed() const; // from the viewport's clip space to the target's
    void applyRaster(Paint& paint) const;
    bool isNewEdge(const CanvasVertex& a, const CanvasVertex& b);
    void drawSides(std::span<const CanvasVertex> vertices, std::span<const std::uint16_t> corners, const Paint& paint);
    void drawPolygons(
        std::span<const CanvasVertex> vertices, std::span<const std::uint16_t> corners, const Paint& paint);
    Matrix view() const;
    Matrix projection() const;

    struct Outer {
        Environment environment;
        Canvas* canvas;
        bool depth, deep;
        std::unique_ptr<Recording> recording;
    };
    Canvas* canvas_;
    Canvas& outermost_;
    Environment environment_;
    std::vector<Outer> outer_;
    std::array<std::vector<std::uint16_t>, 3> polygons_; // corners that are filled, lines, points
    std::array<std::uint64_t, 2048> edges_{}; // of the solid that is drawn as lines, by their hash
    std::uint64_t edgesOf_ = 0;
    std::size_t recorded_ = 0; // corners in the last picture
    std::vector<CanvasVertex> scratch_, shine_; // shine_ is empty unless something shines
    std::vector<std::uint16_t> seen_; // corners of the triangles that may be in the picture
};

// A rectangle of two triangles about the origin, facing +z; texture upright.
std::array<SolidVertex, 6> rectangle(double width, double height, const NSColor& color);

} // namespace vitrel::qc
