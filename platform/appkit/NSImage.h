#pragma once

#include "base/Bytes.h"
#include "platform/appkit/Bitmap.h"
#include "platform/foundation/Geometry.h"

#include <memory>
#include <vector>

namespace vitrel {

// A representation that is drawn when somebody asks for its pixels. Any thread.
class NSImageRep
{
public:
    NSImageRep() = default;
    NSImageRep(const NSImageRep&) = delete;
    NSImageRep& operator=(const NSImageRep&) = delete;
    virtual ~NSImageRep() = default;
    // In points.
    virtual NSSize size() const = 0;
    // Known without drawing; 0 if there is nothing to draw.
    virtual int pixelsWide() const = 0;
    virtual int pixelsHigh() const = 0;
    // Draws at the first call, which may take its time, and keeps the result; null if there is nothing.
    virtual const std::shared_ptr<const Bitmap>& bitmap() const = 0;
};

// Pixels that are there, or that a representation of another kind draws when they are asked for.
class NSBitmapImageRep
{
public:
    explicit NSBitmapImageRep(std::shared_ptr<const Bitmap> bitmap)
        : bitmap_(std::move(bitmap))
    { }
    explicit NSBitmapImageRep(std::shared_ptr<const NSImageRep> drawn)
        : drawn_(std::move(drawn))
    { }
    int pixelsWide() const { return drawn_ ? drawn_->pixelsWide() : bitmap_ ? bitmap_->width : 0; }
    int pixelsHigh() const { return drawn_ ? drawn_->pixelsHigh() : bitmap_ ? bitmap_->height : 0; }
    const std::shared_ptr<const Bitmap>& bitmap() const { return drawn_ ? drawn_->bitmap() : bitmap_; }

private:
    std::shared_ptr<const Bitmap> bitmap_;
    std::shared_ptr<const NSImageRep> drawn_;
};

// A decoded image: a cheap handle on pixels that never change once it is shared. Points and pixels are the same
// here: no resolution is read from the file. Any thread.
class NSImage
{
public:
    // PNG, JPEG, GIF (first frame), WebP, TIFF (first page), turned upright by its EXIF orientation, in sRGB. Null for
    // anything else, for a broken or cut file, above 64 MiB of input, above 64 megapixels, and above 16 for a file
    // that can't be read row by row (interlaced PNG, progressive JPEG, GIF, WebP). An image of more than 16 megapixels
    // or 8192 pixels a side is scaled down to that.
    static std::shared_ptr<const NSImage> imageWithData(ByteView data);
    // A PNG file that comes with the program, read without the image library, which a start doesn't wait for. Null if
    // it is none. Not for files of others.
    static std::shared_ptr<const NSImage> imageWithResource(const std::string& path);

    explicit NSImage(std::shared_ptr<const Bitmap> bitmap);
    // With a size of its own, in points, and possibly no representation.
    NSImage(NSSize size, std::vector<NSBitmapImageRep> representations);
    // With one that is drawn when it is asked for, and of its size. Without any if it is null.
    explicit NSImage(std::shared_ptr<const NSImageRep> representation);

    NSSize size() const { return size_; }
    const std::vector<NSBitmapImageRep>& representations() const { return representations_; }

private:
    NSSize size_;
    std::vector<NSBitmapImageRep> representations_;
};

} // namespace vitrel
