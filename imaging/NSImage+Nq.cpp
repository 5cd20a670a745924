#include "imaging/NSImage+Nq.h"

#include "platform/appkit/NSGraphicsContext.h"

#include <cmath>

namespace vitrel {

NSRect fillSourceRect(NSSize imageSize, NSSize size)
{
    if (!(imageSize.width > 0) || !(imageSize.height > 0) || !(size.width > 0) || !(size.height > 0))
        return {};
    // The scales are of single precision, what follows is not: the rounding below depends on it.
    const float sx = static_cast<float>(size.width / imageSize.width);
    const float sy = static_cast<float>(size.height / imageSize.height);
    NSSize part = imageSize;
    if (sy < sx)
        part.height = std::floor(size.height / double(sx));
    else
        part.width = std::floor(size.width / double(sy));
    return {
        {std::floor((imageSize.width - part.width) * 0.5), std::floor((imageSize.height - part.height) * 0.5)}, part};
}

std::shared_ptr<const NSImage> resizeImageToFillSize(const NSImage& image, NSSize size)
{
    NSGraphicsContext canvas(size);
    const NSRect source = fillSourceRect(image.size(), size);
    // An all-zero source would mean the whole image to the canvas.
    if (source != NSRect{})
        canvas.drawInRectFromRectOperationFractionRespectFlippedHints(image, {{0, 0}, size}, source,
            NSCompositingOperation::Copy, 1.0, true,
            {{NSImageHintInterpolation, Value(int(NSImageInterpolation::Low))}});
    return canvas.unlockFocus();
}

} // namespace vitrel
