#include "imaging/NSImage+NqFitting.h"

#include <cmath>

namespace vitrel {

double imageRatio(const NSImage& image)
{
    return image.size().width / image.size().height;
}

NSRect aspectFillSourceRect(NSSize imageSize, NSSize size)
{
    const float width = float(size.width), height = float(size.height);
    const float imageWidth = float(imageSize.width), imageHeight = float(imageSize.height);
    if (!(width > 0) || !(height > 0) || !(imageWidth > 0) || !(imageHeight > 0))
        return {};
    const float ratio = imageWidth / imageHeight;
    float scaledWidth = width, scaledHeight = height;
    if (ratio > width / height)
        scaledWidth = std::round(ratio * height);
    else
        scaledHeight = std::round((1 / ratio) * width);
    const float scale = scaledHeight / imageHeight;
    // The halves are taken in double precision: an odd overhang rounds away from zero, as it would not everywhere.
    const float cropX = float(std::round(double(scaledWidth - width) * 0.5));
    const float cropY = float(std::round(double(scaledHeight - height) * 0.5));
    const NSRect source = makeRect(cropX / scale, cropY / scale, width / scale, height / scale);
    return std::isfinite(source.size.width) && std::isfinite(source.size.height) ? source : NSRect{};
}

void drawInRectOperationFraction(
    const NSImage& image, NSGraphicsContext& canvas, NSRect rect, NSCompositingOperation operation, float fraction)
{
    const NSRect source = aspectFillSourceRect(image.size(), rect.size);
    if (source != NSRect{})
        canvas.drawInRectFromRectOperationFraction(image, rect, source, operation, fraction);
}

std::shared_ptr<const NSImage> imageToFitSize(const std::shared_ptr<const NSImage>& image, NSSize size)
{
    if (!image || image->size().width == 0 || image->size().height == 0)
        return image;
    NSGraphicsContext canvas(size);
    canvas.setImageInterpolation(NSImageInterpolation::High);
    drawInRectOperationFraction(*image, canvas, {{0, 0}, size}, NSCompositingOperation::SourceOver, 1);
    return canvas.unlockFocus();
}

std::shared_ptr<const NSImage> imageCroppedToFitSize(const std::shared_ptr<const NSImage>& image, NSSize size)
{
    return imageToFitSize(image, size);
}

std::shared_ptr<const NSImage> cropImageFrame(const NSImage& image, NSRect frame)
{
    NSGraphicsContext canvas(image.size());
    canvas.drawInRectFromRectOperationFractionRespectFlippedHints(image, {{0, 0}, image.size()}, frame,
        NSCompositingOperation::Copy, 1.0, true, {{NSImageHintInterpolation, Value(int(NSImageInterpolation::Low))}});
    return canvas.unlockFocus();
}

std::shared_ptr<const NSImage> scaleImageToFillSize(const std::shared_ptr<const NSImage>& image, NSSize size)
{
    if (!image || image->representations().empty() || image->representations().front().pixelsWide() < 1)
        return nullptr;
    NSGraphicsContext canvas(size);
    canvas.drawInRectFromRectOperationFraction(*image, {{0, 0}, size}, {}, NSCompositingOperation::Copy, 1.0);
    return canvas.unlockFocus();
}

std::shared_ptr<const NSImage> resizeToFit(const NSImage& image, NSSize size)
{
    const NSSize own = image.size();
    return resizeImageBy(image, own.height > own.width ? size.height / own.height : size.width / own.width);
}

std::shared_ptr<const NSImage> resizeImageBy(const NSImage& image, double factor)
{
    const NSSize own = image.size();
    NSGraphicsContext canvas({own.width * factor, own.height * factor});
    canvas.scaleBy(factor);
    canvas.drawInRectFromRectOperationFraction(image, {{0, 0}, own}, {}, NSCompositingOperation::Copy, 1.0);
    return canvas.unlockFocus();
}

} // namespace vitrel
