#include "imaging/CoreImageKit.h"

#include "platform/appkit/NSGraphicsContext.h"
#include "platform/coreimage/CIFilter.h"
#include "platform/coreimage/NSCIImageRep.h"

namespace vitrel {

std::optional<CIImage> ciImage(const NSImage& image)
{
    if (image.representations().empty() || image.representations().front().pixelsWide() < 1
        || image.representations().front().pixelsHigh() < 1)
        return std::nullopt;
    return CIImage::imageWithBitmapImageRep(image.representations().front());
}

std::shared_ptr<const NSImage> nsImage(const CIImage& image)
{
    return std::make_shared<const NSImage>(NSCIImageRep::initWithCIImage(image));
}

CIImage createOverlay(const std::optional<NSColor>& color, std::optional<double> alpha)
{
    NSColor overlay = color.value_or(NSColor{1, 0, 0, 1});
    overlay.alpha = alpha.value_or(0.5);
    auto generator = CIFilter::filterWithName("CIConstantColorGenerator");
    generator->setValueForKey(CIColor::initWithColor(overlay), kCIInputColorKey);
    return generator->outputImage().value_or(CIImage());
}

CIImage compositeSourceOver(const CIImage& image, const CIImage& overlay)
{
    auto filter = CIFilter::filterWithName("CISourceOverCompositing");
    filter->setValueForKey(image, kCIInputBackgroundImageKey);
    filter->setValueForKey(overlay, kCIInputImageKey);
    return filter->outputImage().value_or(CIImage()).imageByCroppingToRect(image.extent());
}

std::shared_ptr<const NSImage> resize(const NSImage& image, double width, double height)
{
    const NSSize size = {width, height};
    NSGraphicsContext canvas(size);
    canvas.drawInRectFromRectOperationFraction(
        image, {{0, 0}, size}, {{0, 0}, image.size()}, NSCompositingOperation::SourceOver, 1.0);
    return canvas.unlockFocus();
}

std::shared_ptr<const NSImage> tintImage(const NSImage& image, NSColor color)
{
    const NSRect all = {{0, 0}, image.size()};
    NSGraphicsContext canvas(image.size());
    canvas.drawInRectFromRectOperationFraction(image, all, {}, NSCompositingOperation::Copy, 1.0);
    canvas.setColor(color);
    canvas.fillRectUsingOperation(all, NSCompositingOperation::SourceIn);
    return canvas.unlockFocus();
}

std::shared_ptr<const Bitmap> tiffRepresentationCGImage(const NSImage& image)
{
    if (image.representations().empty())
        return nullptr;
    const auto& bitmap = image.representations().front().bitmap();
    return bitmap && !bitmap->pixels.empty() ? bitmap : nullptr;
}

std::optional<NSSize> tiffRepSize(const NSImage& image)
{
    const auto pixels = tiffRepPixelSize(image);
    return pixels ? std::optional(NSSize{double(pixels->pixelsWide), double(pixels->pixelsHigh)}) : std::nullopt;
}

std::optional<PixelSize> tiffRepPixelSize(const NSImage& image)
{
    const auto bitmap = tiffRepresentationCGImage(image);
    return bitmap ? std::optional(PixelSize{bitmap->width, bitmap->height}) : std::nullopt;
}

} // namespace vitrel
