#pragma once

#include "base/Bytes.h"
#include "platform/appkit/Bitmap.h"
#include "platform/foundation/Geometry.h"

#include <memory>
#include <vector>

namespace vitrel {

class NSBitmapImageRep
{
public:
    explicit NSBitmapImageRep(std::shared_ptr<const Bitmap> bitmap)
        : bitmap_(std::move(bitmap))
    { }
    int pixelsWide() const { return bitmap_ ? bitmap_->width : 0; }
    int pixelsHigh() const { return bitmap_ ? bitmap_->height : 0; }
    const std::shared_ptr<const Bitmap>& bitmap() const { return bitmap_; }

private:
    std::shared_ptr<const Bitmap> bitmap_;
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

    explicit NSImage(std::shared_ptr<const Bitmap> bitmap);
    // With a size of its own, in points, and possibly no representation.
    NSImage(NSSize size, std::vector<NSBitmapImageRep> representations);

    NSSize size() const { return size_; }
    const std::vector<NSBitmapImageRep>& representations() const { return representations_; }

private:
    NSSize size_;
    std::vector<NSBitmapImageRep> representations_;
};

} // namespace vitrel
