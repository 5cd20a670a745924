#pragma once

#include "base/Bytes.h"
#include "platform/appkit/NSImage.h"
#include "platform/coreimage/CGAffineTransform.h"
#include "platform/foundation/Geometry.h"

#include <memory>
#include <optional>

namespace vitrel {

class ImageNode;

// The extent of an image that has no edge.
extern const NSRect CGRectInfinite;
bool CGRectIsInfinite(const NSRect& rect);

// A recipe for an image: a cheap handle on operations that nobody has carried out yet. Each operation gives a new
// recipe; a pixel is computed when somebody asks for it (CIContext, NSCIImageRep), and only the ones asked for. One
// unit is one pixel, y runs upwards, outside its extent an image is clear. Colours are worked on in linear light, as
// numbers with fractions, premultiplied. An operation that makes no sense (a scale of 0, a recipe deeper than 256
// operations) gives the empty image, whose extent is all zero. Any thread.
class CIImage
{
public:
    // The empty image.
    CIImage() = default;

    // What NSImage::imageWithData can read, else absent.
    static std::optional<CIImage> imageWithData(ByteView data);
    // With the lower left corner at the origin. The pixels are asked for when the image's are. Empty without any.
    static CIImage imageWithBitmapImageRep(NSBitmapImageRep representation);

    // The part of the plane that isn't clear, in pixels; may be CGRectInfinite. Needs no pixels.
    NSRect extent() const;

    // Without an edge: the pixels there go on for ever.
    CIImage imageByClampingToExtent() const;
    // Only what lies in `rect`; a pixel that is cut is kept whole.
    CIImage imageByCroppingToRect(NSRect rect) const;
    // Pixels between pixels are interpolated, two by two; moved by whole pixels they stay as they are.
    CIImage imageByApplyingTransform(const CGAffineTransform& transform) const;
    // From here on transforms take the nearest pixel instead.
    CIImage imageBySamplingNearest() const;

    // For those who make operations.
    explicit CIImage(std::shared_ptr<const ImageNode> node);
    const std::shared_ptr<const ImageNode>& node() const { return node_; } // null if empty

private:
    std::shared_ptr<const ImageNode> node_;
};

} // namespace vitrel
