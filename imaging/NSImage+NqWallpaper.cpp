#include "imaging/NSImage+NqWallpaper.h"

#include "imaging/CoreImageKit.h"
#include "imaging/NSImage+Nq.h"
#include "platform/coreimage/CIContext.h"
#include "platform/coreimage/CIFilter.h"
#include "platform/coreimage/NSCIImageRep.h"

#include <cmath>
#include <initializer_list>
#include <utility>

namespace vitrel {

namespace {

constexpr float kBlurRadius = 10.0f;
constexpr double kExposure = -3.5;
constexpr double kAspectRatio = 1.0;
constexpr double kCentring = 0.5;

// The output of one filter; the empty image where there is none.
CIImage filtered(const char* name, std::initializer_list<std::pair<const char*, CIParameter>> parameters)
{
    auto filter = CIFilter::filterWithName(name);
    if (!filter)
        return {};
    for (const auto& [key, value] : parameters)
        filter->setValueForKey(value, key);
    return filter->outputImage().value_or(CIImage());
}

CIImage backdropOf(const CIImage& source)
{
    const CIImage blurred = filtered(
        "CIGaussianBlur", {{kCIInputImageKey, source.imageByClampingToExtent()}, {"inputRadius", double(kBlurRadius)}});
    return filtered("CIExposureAdjust",
        {{kCIInputImageKey, blurred.imageByCroppingToRect(source.extent())}, {"inputEV", kExposure}});
}

CIImage composed(const CIImage& cover, float scale, const CIImage& backdrop, NSSize size)
{
    // Beyond it the backdrop's canvas is coarser than the size, and nothing would meet.
    if (CIContext::pixelsOfRect({{0, 0}, size}).width == 0)
        return {};
    const CIImage scaled = filtered("CILanczosScaleTransform",
        {{kCIInputImageKey, cover}, {kCIInputScaleKey, double(scale)}, {kCIInputAspectRatioKey, kAspectRatio}});
    const NSSize extent = scaled.extent().size;
    const CIImage cropped = filtered("CICrop",
        {{kCIInputImageKey, scaled}, {"inputRectangle", CIVector::vectorWithXYZW(0, 0, extent.width, extent.height)}});
    const float x = float((size.width - extent.width) * kCentring);
    const float y = float((size.height - extent.height) * kCentring);
    const CIImage moved = cropped.imageByApplyingTransform(CGAffineTransformMakeTranslation(x, y));
    return filtered("CISourceOverCompositing", {{kCIInputImageKey, moved}, {kCIInputBackgroundImageKey, backdrop}});
}

std::shared_ptr<const NSImage> wrapped(const CIImage& image)
{
    const auto representation = NSCIImageRep::imageRepWithCIImage(image);
    representation->setSize(image.extent().size);
    return std::make_shared<const NSImage>(representation);
}

} // namespace

std::shared_ptr<const NSImage> artworkBackground(const NSImage& image)
{
    return wrapped(backdropOf(ciImage(image).value_or(CIImage())));
}

std::shared_ptr<const NSImage> muralisArtworkForSize(const NSImage& image, NSSize size)
{
    // Twice the same picture: one filling serves both.
    const CIImage filled = ciImage(*resizeImageToFillSize(image, size)).value_or(CIImage());
    return wrapped(composed(filled, 1.0f, backdropOf(filled), size));
}

std::shared_ptr<const NSImage> musicArtworkWallpaperArtworkAspectRatioDifference(
    const NSImage& image, NSSize size, float difference)
{
    const CIImage cover = ciImage(image).value_or(CIImage());
    const NSSize extent = cover.extent().size;
    const auto filled = resizeImageToFillSize(image, size);
    const double imageRatio = extent.width / extent.height, targetRatio = size.width / size.height;
    const float off = float(targetRatio) - float(imageRatio);
    if (off != 0 && !(std::abs(off) > difference))
        return filled;
    const CIImage backdrop = backdropOf(ciImage(*filled).value_or(CIImage()));
    const float scale = imageRatio < targetRatio ? float(1.0 / (extent.height / size.height))
                                                 : float(1.0 / (extent.width / size.width));
    return wrapped(composed(cover, scale, backdrop, size));
}

} // namespace vitrel
