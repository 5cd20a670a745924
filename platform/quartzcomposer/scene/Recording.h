#pragma once

#include "platform/quartzcomposer/scene/Canvas.h"

#include <string>

namespace vitrel::qc {

// Remembers what is drawn on it instead of drawing it, so that it can be compared with what was drawn before: a picture
// in a composition that shows the same again needn't be drawn again. Main thread.
class Recording final : public Canvas
{
public:
    Recording(int width, int height, int largestSide)
        : width_(width)
        , height_(height)
        , largestSide_(largestSide)
    { }
    int width() const override { return width_; }
    int height() const override { return height_; }
    int largestSide() const override { return largestSide_; }
    void clear(const NSColor& straight, bool color, bool depth, std::uint8_t colorMask) override;
    void draw(Primitive primitive, std::span<const CanvasVertex> vertices, const Paint& paint) override;
    bool drawShaded(Primitive primitive, std::span<const ShaderVertex> vertices, const ShaderUse& use,
        const ShaderSurroundings& around, const Paint& paint) override;
    // Never asked: pictures within have recordings of their own.
    void beginImage(int, int, bool, bool) override { }
    ImageRef endImage() override { return nullptr; }

    // Corners, for which memory is there at once.
    void reserve(std::size_t corners) { vertices_.reserve(corners); }
    std::size_t corners() const { return vertices_.size(); }

    void play(Canvas& canvas) const;
    // Equal if the two draw the same; empty for one that is too long to be remembered, or that programs draw.
    std::string fingerprint() const;

private:
    struct ShadedCall {
        std::vector<ShaderVertex> vertices;
        ShaderUse use;
        ShaderSurroundings around;
    };
    struct Call {
        bool clears = false;
        NSColor color;
        bool clearsColor = false, clearsDepth = false;
        Primitive primitive = Primitive::Triangles;
        Paint paint;
        std::size_t first = 0, count = 0; // of the corners
        std::shared_ptr<const ShadedCall> shaded; // null: drawn as ever
    };
    static void play(const Call& call, Canvas& canvas);

    bool hasShaded_ = false;
    const int width_, height_, largestSide_;
    std::vector<Call> calls_;
    std::vector<CanvasVertex> vertices_;
};

} // namespace vitrel::qc
