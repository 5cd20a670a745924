#pragma once

#include "platform/appkit/NSImage.h"

#include <memory>

namespace vitrel {

// The image, of its own size, through a mask that is stretched over it pixel by pixel, nothing interpolated. A mask
// holds grey values: black lets the image through, white hides it. Of a coloured one it is the brightness that counts;
// what is clear in it counts as black. Without a mask, without pixels on either side and without an image, the image
// itself. Any thread.
std::shared_ptr<const NSImage> maskImageUsingMaskImage(
    const std::shared_ptr<const NSImage>& image, const std::shared_ptr<const NSImage>& mask);
std::shared_ptr<const NSImage> maskUsingMaskImage(
    const std::shared_ptr<const NSImage>& image, const std::shared_ptr<const NSImage>& mask);

} // namespace vitrel
