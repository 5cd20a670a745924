#include "platform/coreimage/NSCIImageRep.h"

#include "platform/coreimage/CIContext.h"

namespace vitrel {

NSCIImageRep::NSCIImageRep(CIImage image)
    : image_(std::move(image))
    , size_(image_.extent().size)
{ }

std::shared_ptr<NSCIImageRep> NSCIImageRep::imageRepWithCIImage(CIImage image)
{
    return std::make_shared<NSCIImageRep>(std::move(image));
}

int NSCIImageRep::pixelsWide() const
{
    return CIContext::pixelsOfRect(image_.extent()).width;
}

int NSCIImageRep::pixelsHigh() const
{
    return CIContext::pixelsOfRect(image_.extent()).height;
}

const std::shared_ptr<const Bitmap>& NSCIImageRep::bitmap() const
{
    std::call_once(once_, [&] { bitmap_ = CIContext().createCGImageFromRect(image_, image_.extent()); });
    return bitmap_;
}

} // namespace vitrel
