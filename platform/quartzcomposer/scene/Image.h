#pragma once

#include "platform/appkit/Bitmap.h"
#include "platform/foundation/Value.h"
#include "platform/quartzcomposer/shading/Kernel.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vitrel::qc {

// Where an image has pixels: units are pixels, the origin is at the bottom left and need not be 0. An infinite
// image (a generator, a clamped one) has pixels everywhere; its other members are then 0.
struct Extent {
    double x = 0, y = 0, width = 0, height = 0;
    bool infinite = false;

    bool empty() const { return !infinite && (width < 1 || height < 1); }
    friend bool operator==(const Extent&, const Extent&) = default;
};

Extent unite(const Extent& a, const Extent& b);
Extent intersect(const Extent& a, const Extent& b);
Extent grow(const Extent& a, double by);

// A picture as it travels between patches: immutable, cheap to hand on, drawn only when somebody shows it. The same
// handle means the same pixels. Main thread.
class Image
{
public:
    explicit Image(Extent extent)
        : extent_(extent)
        , number_(nextNumber())
    { }
    virtual ~Image() = default;
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    const Extent& extent() const { return extent_; }
    // Never that of another image, also once this one is gone.
    std::uint64_t number() const { return number_; }

    // Its pixels in the main memory, if they are there without drawing; else null.
    virtual std::shared_ptr<const Bitmap> bitmap() const { return nullptr; }

    // What a canvas keeps for the image, such as a texture, so that it goes when the image goes.
    struct Realization {
        virtual ~Realization() = default;
    };
    mutable std::shared_ptr<Realization> realization;

private:
    static std::uint64_t nextNumber();
    const Extent extent_;
    const std::uint64_t number_;
};

using ImageRef = std::shared_ptr<const Image>;

// Pixels in the main memory.
class BitmapImage final : public Image
{
public:
    explicit BitmapImage(std::shared_ptr<const Bitmap> bitmap)
        : Image({0, 0, double(bitmap->width), double(bitmap->height)})
        , bitmap_(std::move(bitmap))
    { }
    std::shared_ptr<const Bitmap> bitmap() const override { return bitmap_; }

private:
    std::shared_ptr<const Bitmap> bitmap_;
};

// An image of pixels that a composition has made or read itself, as opposed to one of its host. Null if there is no
// bitmap, or if the pixels of all such images of the process would pass 96 MiB.
ImageRef ownImage(std::shared_ptr<const Bitmap> bitmap);
// False once another image is sure to be refused: before pixels are made for it.
bool roomForImages();

// What a canvas has drawn into an image of its own.
class DrawnImage final : public Image
{
public:
    DrawnImage(int width, int height)
        : Image({0, 0, double(width), double(height)})
    { }
    explicit DrawnImage(Extent extent)
        : Image(extent)
    { }
};

// Computed from other images when it is shown.
class LazyImage : public Image
{
public:
    LazyImage(Extent extent, std::vector<ImageRef> inputs)
        : Image(extent)
        , inputs(std::move(inputs))
        , levels(1 + deepest(this->inputs))
    { }
    const std::vector<ImageRef> inputs;
    const int levels; // of lazy images upon lazy images

    static int deepest(const std::vector<ImageRef>& images);
    // One over its own result of the frame before grows by a level a frame.
    static constexpr int kMaxLevels = 64;
};

struct Filter; // a row of the filter table

// A filter over other images, computed when it is shown. `numbers` and `colors` are the filter's parameters in the
// order of the row; straight colours.
class FilteredImage final : public LazyImage
{
public:
    FilteredImage(Extent extent, const Filter& filter, std::vector<ImageRef> inputs, std::vector<double> numbers,
        std::vector<NSColor> colors)
        : LazyImage(extent, std::move(inputs))
        , filter(filter)
        , numbers(std::move(numbers))
        , colors(std::move(colors))
    { }
    const Filter& filter;
    const std::vector<double> numbers;
    const std::vector<NSColor> colors;
};

// An author's kernel over other images. `values` are its parameters that are no images, in order, each of four numbers
// of which it takes as many as it has parts; colours premultiplied.
class KernelImage final : public LazyImage
{
public:
    // How an image is read: whether its edge goes on without end, and whether between pixels there is a mean.
    struct Reading {
        bool clamps = false, smooths = true;
    };
    KernelImage(Extent extent, std::shared_ptr<const Kernel> kernel, std::vector<ImageRef> inputs,
        std::vector<Reading> readings, std::vector<std::array<double, 4>> values)
        : LazyImage(extent, std::move(inputs))
        , kernel(std::move(kernel))
        , readings(std::move(readings))
        , values(std::move(values))
    { }
    const std::shared_ptr<const Kernel> kernel;
    const std::vector<Reading> readings;
    const std::vector<std::array<double, 4>> values;
};

} // namespace vitrel::qc
