// Recipes of any operations with any numbers, and codes of any text: what a program that makes pictures may be asked
// for.
#include "imaging/CodeImages.h"
#include "imaging/CoreImageKit.h"
#include "imaging/NSImage+NqFitting.h"
#include "imaging/NSImage+NqRotation.h"
#include "imaging/NSImage+NqWallpaper.h"
#include "platform/coreimage/CIContext.h"
#include "platform/coreimage/CIFilter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

using namespace vitrel;

class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size)
        : at_(data)
        , end_(data + size)
    { }
    bool isAtEnd() const { return at_ == end_; }
    unsigned byte() { return at_ == end_ ? 0 : *at_++; }
    // A small number, or the bits of any.
    double number()
    {
        const unsigned kind = byte();
        if (kind < 224)
            return (double(kind) - 64) / 8;
        double value = 0;
        const std::size_t count = std::min(sizeof value, std::size_t(end_ - at_));
        std::memcpy(&value, at_, count);
        at_ += count;
        return value;
    }
    NSRect rect()
    {
        const double x = number(), y = number(), width = number();
        return makeRect(x, y, width, number());
    }
    std::string rest() { return std::string(at_, end_); }

private:
    const std::uint8_t *at_, *end_;
};

CIImage withFilter(
    const char* name, const CIImage& image, std::initializer_list<std::pair<const char*, CIParameter>> more)
{
    auto filter = CIFilter::filterWithName(name);
    filter->setValueForKey(image, kCIInputImageKey);
    for (const auto& one : more)
        filter->setValueForKey(one.second, one.first);
    return filter->outputImage().value_or(CIImage());
}

CIImage next(Input& in, const CIImage& image, const CIImage& other)
{
    switch (in.byte() % 9) {
    case 0:
        return image.imageByClampingToExtent();
    case 1:
        return image.imageByCroppingToRect(in.rect());
    case 2: {
        CGAffineTransform transform;
        for (double* field : {&transform.a, &transform.b, &transform.c, &transform.d, &transform.tx, &transform.ty})
            *field = in.number();
        return image.imageByApplyingTransform(transform);
    }
    case 3:
        return image.imageBySamplingNearest();
    case 4:
        return withFilter("CIGaussianBlur", image, {{"inputRadius", in.number()}});
    case 5:
        return withFilter("CIExposureAdjust", image, {{"inputEV", in.number()}});
    case 6:
        return withFilter(
            "CILanczosScaleTransform", image, {{kCIInputScaleKey, in.number()}, {kCIInputAspectRatioKey, in.number()}});
    case 7:
        return withFilter("CISourceOverCompositing", image, {{kCIInputBackgroundImageKey, other}});
    default:
        return compositeSourceOver(
            image, createOverlay(NSColor{in.number(), in.number(), in.number(), 1}, in.number()));
    }
}

void check(const std::shared_ptr<const Bitmap>& bitmap)
{
    if (!bitmap)
        return;
    for (const std::uint32_t word : bitmap->pixels)
        if ((word >> 16 & 255) > word >> 24 || (word >> 8 & 255) > word >> 24 || (word & 255) > word >> 24)
            std::abort(); // not premultiplied
}

void check(const std::shared_ptr<const NSImage>& image)
{
    // Large ones are computed by the same code, only for longer.
    constexpr int kMostPixels = 1 << 16;
    if (!image || image->representations().empty())
        return;
    const auto& first = image->representations().front();
    if (first.pixelsWide() * double(first.pixelsHigh()) <= kMostPixels)
        check(first.bitmap());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input in(data, std::min<std::size_t>(size, 4096));
    const unsigned task = in.byte() % 8;
    if (task == 0) {
        const std::string text = in.rest();
        check(qrCode(text, 1.5f));
        check(barcode(text));
        return 0;
    }
    Bitmap bitmap{3, 2, {0xFFFF0000, 0x80008000, 0, 0xFFFFFFFF, 0xFF000000, 0x01010101}};
    const auto image = std::make_shared<const NSImage>(std::make_shared<const Bitmap>(std::move(bitmap)));
    if (task == 1) {
        const NSSize target{in.number() * 8, in.number() * 8};
        const double number = in.number();
        // A canvas may be as large as it may; beyond this a run takes longer than it tells.
        if (target.width * target.height < 1 << 16) {
            check(musicArtworkWallpaperArtworkAspectRatioDifference(*image, target, float(number)));
            check(muralisArtworkForSize(*image, target));
            check(imageToFitSize(image, target));
            check(resizeToFit(*image, {target.width / 64, target.height / 64}));
        }
        check(imageRotatedByDegreess(*image, number));
        return 0;
    }
    CIImage recipe = *ciImage(*image), other = recipe;
    for (int k = 0; k < 12 && !in.isAtEnd(); ++k) {
        const CIImage made = next(in, recipe, other);
        other = recipe;
        recipe = made;
    }
    check(nsImage(recipe));
    check(CIContext().createCGImageFromRect(recipe, makeRect(-8, -8, 24, 24)));
    return 0;
}
