#include "imaging/NSImage+NqRotation.h"

#include "platform/appkit/NSGraphicsContext.h"

#include <cmath>
#include <numbers>

namespace vitrel {

namespace {

// The bounds of a turned rectangle. A quarter turn's sine isn't quite a whole number in floating point, and a canvas
// larger by a hair is a pixel larger.
NSSize turnedSize(NSSize size, double degrees)
{
    const double turn = std::abs(std::remainder(degrees, 180));
    if (turn == 0)
        return size;
    if (turn == 90)
        return {size.height, size.width};
    const double radians = degrees * std::numbers::pi / 180;
    const double cosine = std::abs(std::cos(radians)), sine = std::abs(std::sin(radians));
    return {size.width * cosine + size.height * sine, size.width * sine + size.height * cosine};
}

std::shared_ptr<const NSImage> quarterTurned(const NSImage& image, NSSize size, double degrees)
{
    NSGraphicsContext canvas({size.height, size.width});
    canvas.translateXByYBy(size.height * 0.5, size.width * 0.5);
    canvas.rotateByDegrees(degrees);
    canvas.translateXByYBy(size.width * -0.5, size.height * -0.5);
    canvas.drawInRectFromRectOperationFraction(image, {{0, 0}, size}, {}, NSCompositingOperation::Copy, 1.0);
    return canvas.unlockFocus();
}

} // namespace

std::shared_ptr<const NSImage> imageRotatedByDegreess(const NSImage& image, double degrees)
{
    const NSSize size = image.size(), bounds = turnedSize(size, degrees);
    NSGraphicsContext canvas(bounds);
    canvas.translateXByYBy(bounds.width * 0.5, bounds.height * 0.5);
    canvas.rotateByDegrees(degrees);
    canvas.translateXByYBy(bounds.width * -0.5, bounds.height * -0.5);
    const NSPoint origin = {bounds.width * 0.5 - size.width * 0.5, bounds.height * 0.5 - size.height * 0.5};
    canvas.drawInRectFromRectOperationFraction(image, {origin, size}, {}, NSCompositingOperation::Copy, 1.0);
    return canvas.unlockFocus();
}

std::shared_ptr<const NSImage> imageRotatedByDegrees(const NSImage& image, double degrees)
{
    return quarterTurned(image, image.size(), degrees);
}

std::shared_ptr<const NSImage> rotateIndividualImageDeg(const NSImage& image, double degrees)
{
    if (image.representations().empty())
        return quarterTurned(image, {}, degrees);
    const auto& first = image.representations().front();
    return quarterTurned(image, {double(first.pixelsWide()), double(first.pixelsHigh())}, degrees);
}

} // namespace vitrel
