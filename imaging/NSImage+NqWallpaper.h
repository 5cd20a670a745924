#pragma once

#include "platform/appkit/NSImage.h"

#include <memory>

namespace vitrel {

// Covers as pictures for a screen of another shape: the cover sharp and in the middle, upon a blurred and darkened copy
// that fills the screen. Sizes are compared with numbers of pixels, whatever the display's scale. The results are drawn
// when somebody asks for their pixels, and are never null; a cover without pixels, a size that is none and one beyond
// what a canvas has (8192 a side, 16 megapixels) give an image without pixels. Any thread.

// The dark backdrop alone, of the image's own pixels.
std::shared_ptr<const NSImage> artworkBackground(const NSImage& image);

// The filled picture upon its backdrop: always composed, though what lies below doesn't show.
std::shared_ptr<const NSImage> muralisArtworkForSize(const NSImage& image, NSSize size);

// The whole cover upon the backdrop of the filled picture. A cover whose ratio of width to height is off the screen's
// by no more than `difference` simply fills the screen, unless it is off by nothing at all.
std::shared_ptr<const NSImage> musicArtworkWallpaperArtworkAspectRatioDifference(
    const NSImage& image, NSSize size, float difference);

} // namespace vitrel
