#pragma once

#include "platform/appkit/NSImage.h"
#include "platform/coreimage/CIImage.h"

#include <mutex>

namespace vitrel {

// A recipe as the representation of an NSImage: its extent is drawn when somebody asks for the pixels, once. Null for
// an extent that CIContext gives nothing for, such as an infinite one.
class NSCIImageRep final : public NSImageRep
{
public:
    static std::shared_ptr<NSCIImageRep> imageRepWithCIImage(CIImage image);
    static std::shared_ptr<NSCIImageRep> initWithCIImage(CIImage image)
    {
        return imageRepWithCIImage(std::move(image));
    }
    explicit NSCIImageRep(CIImage image);

    const CIImage& ciImage() const { return image_; }
    // In points; the size of the extent to start with. Before the representation is shared.
    void setSize(NSSize size) { size_ = size; }
    NSSize size() const override { return size_; }
    int pixelsWide() const override;
    int pixelsHigh() const override;
    const std::shared_ptr<const Bitmap>& bitmap() const override;

private:
    const CIImage image_;
    NSSize size_;
    mutable std::once_flag once_;
    mutable std::shared_ptr<const Bitmap> bitmap_;
};

} // namespace vitrel
