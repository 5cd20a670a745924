#pragma once

#include "platform/appkit/NSImage.h"

#include <memory>

namespace vitrel {

// Turning, counter-clockwise, in degrees. What a canvas doesn't cover is cut, what the image doesn't is clear. Never
// null. Any thread.

// By any angle, on a canvas that the turned image fits on exactly.
std::shared_ptr<const NSImage> imageRotatedByDegreess(const NSImage& image, double degrees);
// For quarter turns: on a canvas of the image's size with width and height exchanged.
std::shared_ptr<const NSImage> imageRotatedByDegrees(const NSImage& image, double degrees);
// The same with the pixels of the first representation for points.
std::shared_ptr<const NSImage> rotateIndividualImageDeg(const NSImage& image, double degrees);

} // namespace vitrel
