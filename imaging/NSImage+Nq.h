#pragma once

#include "platform/appkit/NSImage.h"

#include <memory>

namespace vitrel {

// A new image of exactly `size`, in points, covered by `image`: what sticks out is cut equally on both sides. With a
// size of 0 on either side of the division there is nothing to draw, and the image comes back clear. Never null.
// Any thread.
std::shared_ptr<const NSImage> resizeImageToFillSize(const NSImage& image, NSSize size);

// The part of an image of `imageSize` that a fill of `size` shows; points, whole ones. All zero if either has no area.
NSRect fillSourceRect(NSSize imageSize, NSSize size);

} // namespace vitrel
