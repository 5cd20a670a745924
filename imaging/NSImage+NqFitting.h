#pragma once

#include "platform/appkit/NSGraphicsContext.h"
#include "platform/appkit/NSImage.h"

#include <memory>

namespace vitrel {

// Scaling and cutting. Sizes and rectangles are in points; an image that is made is never null, and is clear where
// there is no size to work with. Any thread.

// Width by height; not a number, or infinite, without a height.
double imageRatio(const NSImage& image);

// The part of an image of `imageSize` that drawInRectOperationFraction shows in a rectangle of `size`, in single
// precision. All zero if either has no area.
NSRect aspectFillSourceRect(NSSize imageSize, NSSize size);

// Draws the image on `canvas` so that it covers `rect`, cut on both sides; nothing without an area.
void drawInRectOperationFraction(
    const NSImage& image, NSGraphicsContext& canvas, NSRect rect, NSCompositingOperation operation, float fraction);

// A new image of `size` covered by `image`, in high quality; the image itself if it has no width or no height.
std::shared_ptr<const NSImage> imageToFitSize(const std::shared_ptr<const NSImage>& image, NSSize size);
std::shared_ptr<const NSImage> imageCroppedToFitSize(const std::shared_ptr<const NSImage>& image, NSSize size);

// `frame` of the image, stretched over a new one of the image's own size.
std::shared_ptr<const NSImage> cropImageFrame(const NSImage& image, NSRect frame);

// The image stretched over a new one of `size`, whatever its shape. Null if the image is null or has no pixels.
std::shared_ptr<const NSImage> scaleImageToFillSize(const std::shared_ptr<const NSImage>& image, NSSize size);

// The image scaled to the height of `size` if it is higher than wide, else to its width.
std::shared_ptr<const NSImage> resizeToFit(const NSImage& image, NSSize size);
std::shared_ptr<const NSImage> resizeImageBy(const NSImage& image, double factor);

} // namespace vitrel
