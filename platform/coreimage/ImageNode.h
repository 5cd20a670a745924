#pragma once

#include "platform/coreimage/Pixel.h"
#include "platform/foundation/Geometry.h"

#include <cstddef>
#include <memory>

namespace vitrel {

// Whole pixels, y upwards.
struct PixelRect {
    int x = 0, y = 0, width = 0, height = 0;

    int right() const { return x + width; }
    int top() const { return y + height; }
    bool isEmpty() const { return width <= 0 || height <= 0; }
    double area() const { return double(width) * double(height); }
    bool contains(const PixelRect& other) const
    {
        return other.x >= x && other.y >= y && other.right() <= right() && other.top() <= top();
    }
    PixelRect grown(int by) const { return {x - by, y - by, width + 2 * by, height + 2 * by}; }
};

PixelRect intersection(const PixelRect& a, const PixelRect& b);
// The pixels that `rect` touches, as far as numbers of pixels are worked with at all.
PixelRect pixelsTouchedBy(const NSRect& rect);
NSRect intersection(const NSRect& a, const NSRect& b);

// Where pixels go: `stride` pixels from one row to the next above it.
struct PixelTarget {
    Pixel* first;
    std::ptrdiff_t stride;
    Pixel* row(int index) const { return first + stride * index; }
};

// An operation that has been prepared for some part of the plane.
class PixelSource
{
public:
    virtual ~PixelSource() = default;
    // Writes every pixel of `rect`, which lies within that part. Any thread, several at once.
    virtual void read(const PixelRect& rect, PixelTarget target) const = 0;
};

// What is shared by all operations of one rendering.
struct Rendering {
    int sources = 0; // so far
    double pixelsBlurred = 0; // so far
    bool failed = false; // for its size: the result is nothing
};

// One operation of a recipe; immutable.
class ImageNode
{
public:
    explicit ImageNode(int depth)
        : depth_(depth)
    { }
    virtual ~ImageNode() = default;
    virtual NSRect extent() const = 0;
    virtual bool samplesNearest() const { return false; }
    // `wanted` lies within the extent's pixels and isn't empty. Null if the rendering has failed.
    virtual std::unique_ptr<PixelSource> open(const PixelRect& wanted, Rendering& rendering) const = 0;
    // Operations one upon the other, this one included.
    int depth() const { return depth_; }

private:
    const int depth_;
};

using NodeRef = std::shared_ptr<const ImageNode>;

// An operation's input, prepared for a part of the plane; clear where the input is.
class OpenInput
{
public:
    OpenInput(const ImageNode& node, const PixelRect& wanted, Rendering& rendering);
    // Any `rect`.
    void read(const PixelRect& rect, PixelTarget target) const;
    // Outside it all is clear.
    const PixelRect& bounds() const { return bounds_; }

private:
    PixelRect bounds_;
    std::unique_ptr<PixelSource> source_; // null if all is clear
};

// Pixels of a rectangle for a while.
class PixelBuffer
{
public:
    explicit PixelBuffer(const PixelRect& rect)
        : stride_(rect.width)
        , pixels_(new Pixel[std::size_t(rect.width) * std::size_t(rect.height)])
    { }
    PixelTarget target() const { return {pixels_.get(), stride_}; }
    Pixel* row(int index) const { return pixels_.get() + stride_ * index; }

private:
    std::ptrdiff_t stride_;
    std::unique_ptr<Pixel[]> pixels_; // not set to anything at first
};

} // namespace vitrel
