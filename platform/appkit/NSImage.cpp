#include "platform/appkit/NSImage.h"

namespace vitrel {

NSImage::NSImage(std::shared_ptr<const Bitmap> bitmap)
    : size_{bitmap ? double(bitmap->width) : 0, bitmap ? double(bitmap->height) : 0}
{
    if (bitmap)
        representations_.emplace_back(std::move(bitmap));
}

NSImage::NSImage(NSSize size, std::vector<NSBitmapImageRep> representations)
    : size_(size)
    , representations_(std::move(representations))
{ }

NSImage::NSImage(std::shared_ptr<const NSImageRep> representation)
    : size_(representation ? representation->size() : NSSize{})
{
    if (representation)
        representations_.emplace_back(std::move(representation));
}

} // namespace vitrel
