#pragma once

#include "platform/appkit/NSImage.h"
#include "platform/coreimage/CIImage.h"
#include "platform/foundation/Value.h"

#include <memory>
#include <optional>
#include <utility>

namespace vitrel {

// Between images and recipes. What the platform sends through a TIFF file and back is shared here: pixels don't change,
// and the file would hold the same ones. Any thread.

// The pixels of the first representation as a recipe, asked for when the recipe's are; absent without any. The kit's
// accessor `CIImage` is this one, too: a function can't have the type's name.
std::optional<CIImage> ciImage(const NSImage& image);

// An image of the recipe's extent, drawn when somebody asks for its pixels. Never null.
std::shared_ptr<const NSImage> nsImage(const CIImage& image);

// One colour without end: `color` with `alpha` in place of its own. Red and 0.5 where absent; an alpha of 0 is a value.
CIImage createOverlay(const std::optional<NSColor>& color, std::optional<double> alpha);

// `overlay` upon `image`, within the extent of `image`.
CIImage compositeSourceOver(const CIImage& image, const CIImage& overlay);

// The image stretched over a new one, whatever its shape. Never null.
std::shared_ptr<const NSImage> resize(const NSImage& image, double width, double height);

// A copy of the image's size in which all that the picture covers has `color`, as much as it covers. Never null.
std::shared_ptr<const NSImage> tintImage(const NSImage& image, NSColor color);

// The pixels that a TIFF file of the image would begin with; null if there are none.
std::shared_ptr<const Bitmap> tiffRepresentationCGImage(const NSImage& image);
// Their size in points, which is their number, and that number. Absent if there are none.
std::optional<NSSize> tiffRepSize(const NSImage& image);
struct PixelSize {
    int pixelsWide = 0, pixelsHigh = 0;
    friend bool operator==(const PixelSize&, const PixelSize&) = default;
};
std::optional<PixelSize> tiffRepPixelSize(const NSImage& image);

} // namespace vitrel
