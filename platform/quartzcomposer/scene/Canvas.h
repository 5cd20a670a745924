#pragma once

#include "platform/quartzcomposer/scene/Image.h"
#include "platform/quartzcomposer/scene/ShaderUse.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vitrel::qc {

enum class Blending { Replace, Over, Add, Alpha };
enum class DepthTest { None, ReadWrite, ReadOnly };
enum class Culling { None, BackFaces, FrontFaces };
enum class Primitive { Triangles, Lines, Points };
enum class BlendEquation : std::uint8_t { Add, Subtract, ReverseSubtract, Min, Max };

// In pixels of the target, from its bottom left.
struct PixelRectangle {
    int x = 0, y = 0, width = 0, height = 0;
    friend bool operator==(const PixelRectangle&, const PixelRectangle&) = default;
};

// A corner in clip space, y upwards. Texture coordinates run from 0, 0 at the image's bottom left to 1, 1. Colours
// are premultiplied.
struct CanvasVertex {
    float position[4];
    float texture[2];
    float color[4];
    friend bool operator==(const CanvasVertex&, const CanvasVertex&) = default;
};

struct Paint {
    ImageRef image; // null: the vertex colour alone
    ImageRef mask; // null: none
    Blending blending = Blending::Over;
    DepthTest depth = DepthTest::None;
    Culling culling = Culling::None;
    std::uint8_t colorMask = 0xF; // bit 0 red to bit 3 alpha
    float lineWidth = 1; // pixels; also the size of points
    bool nearest = false; // pixels as they are, in place of linear filtering
    // Round, closed and convex: among calls with the same state that replace and write depth, those that are nearer may
    // come first.
    bool mayComeEarlier = false;
    bool discardsClear = false; // what is clear leaves no depth, unless it replaces
    BlendEquation colorEquation = BlendEquation::Add, alphaEquation = BlendEquation::Add;
    float discardsUpTo = -1; // pixels of no more alpha aren't drawn
    std::optional<PixelRectangle> scissor; // nothing is drawn outside
};

// What a composition draws on. Drawing happens in the order of the calls. Without a display there is one that only
// keeps sizes, so that a composition can be played for its values alone. Main thread.
class Canvas
{
public:
    virtual ~Canvas() = default;

    // Pixels of the present target.
    virtual int width() const = 0;
    virtual int height() const = 0;
    // Pixels that a picture may have on a side.
    virtual int largestSide() const { return 16384; }

    virtual void clear(const NSColor& straight, bool color, bool depth, std::uint8_t colorMask) = 0;
    virtual void draw(Primitive primitive, std::span<const CanvasVertex> vertices, const Paint& paint) = 0;
    // The same where corners share vertices: the numbers of vertices, three for a triangle, two for a line.
    virtual void drawShared(Primitive primitive, std::span<const CanvasVertex> vertices,
        std::span<const std::uint16_t> corners, const Paint& paint)
    {
        std::vector<CanvasVertex> all;
        all.reserve(corners.size());
        for (const std::uint16_t corner : corners)
            all.push_back(vertices[corner]);
        draw(primitive, all, paint);
    }
    // The same by an author's program. False if it doesn't work: the node is then drawn without it.
    virtual bool drawShaded(
        Primitive, std::span<const ShaderVertex>, const ShaderUse&, const ShaderSurroundings&, const Paint&)
    {
        return true;
    }

    // A frame begins; what would be drawn from `end` on is left out of it.
    virtual void beginFrame(std::chrono::steady_clock::time_point) { }

    // Comes back once all that was drawn so far is in memory: for who measures, not for who plays.
    virtual void finish() { }

    // True once the frame has no time left, and something was left out.
    virtual bool isLate() const { return false; }

    // What is drawn between the two lands in an image of its own, which starts transparent. They nest. A `deep` one
    // keeps values beyond 0 to 1, and steps finer than a 255th.
    virtual void beginImage(int width, int height, bool depth, bool deep = false) = 0;
    virtual ImageRef endImage() = 0;
    // The image as it is, without what it would be computed from; null if there is no memory or time for it.
    virtual ImageRef realized(const ImageRef& image) { return image; }
};

// Draws nothing and knows its size.
class NullCanvas final : public Canvas
{
public:
    NullCanvas(int width, int height)
        : sizes_{{width, height}}
    { }
    int width() const override { return sizes_.back().first; }
    int height() const override { return sizes_.back().second; }
    void clear(const NSColor&, bool, bool, std::uint8_t) override { }
    void draw(Primitive, std::span<const CanvasVertex>, const Paint&) override { }
    void drawShared(Primitive, std::span<const CanvasVertex>, std::span<const std::uint16_t>, const Paint&) override { }
    void beginImage(int width, int height, bool, bool) override { sizes_.emplace_back(width, height); }
    ImageRef endImage() override
    {
        const auto [width, height] = sizes_.back();
        sizes_.pop_back();
        return std::make_shared<DrawnImage>(width, height);
    }
    ImageRef realized(const ImageRef& image) override
    {
        return image && image->extent().infinite ? std::make_shared<DrawnImage>(width(), height())
            : image                              ? std::make_shared<DrawnImage>(image->extent())
                                                 : nullptr;
    }

private:
    std::vector<std::pair<int, int>> sizes_;
};

} // namespace vitrel::qc
