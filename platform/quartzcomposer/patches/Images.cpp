// Patches that make, measure and change images.
#include "platform/appkit/NSImage.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Pixels.h"
#include "platform/quartzcomposer/scene/Filters.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

class ImageLoaderPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Image Importer", "A picture that is kept in the composition.", {{"outputImage", "The picture"}},
            {{"imageData", DescribedSetting::Any, "The picture's file", {}, {}, R"({"image": "picture.png"})"}}};
    }

private:
    Output<ImageRef> image{*this, "outputImage"};

    void configure(const Settings& settings) override
    {
        const Value* stored = settings.find("imageData");
        data_ = stored ? *stored : Value();
    }
    // Decoded when somebody first asks: a file may hold pictures that it never shows.
    void evaluate(Evaluation&) override
    {
        if (data_.bytes())
            image.set(*converted(portValue(data_), PortType::Image).as<ImageRef>());
        data_ = {};
    }
    Value data_;
};

class DimensionsPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Image Dimensions", "How large an image is. No image is 0 by 0.",
            {{"inputImage", "The image"},
                {"outputWidth", "How wide it is where each of its pixels is one of the picture", kUnits},
                {"outputHeight", "How high it is where each of its pixels is one of the picture", kUnits},
                {"outputRatio", "Its width, divided by its height"}, {"outputPixelsWide", "Its width", kPixels},
                {"outputPixelsHigh", "Its height", kPixels}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"};
    Output<double> width{*this, "outputWidth"}, height{*this, "outputHeight"}, ratio{*this, "outputRatio"};
    Output<std::uint32_t> pixelsWide{*this, "outputPixelsWide"}, pixelsHigh{*this, "outputPixelsHigh"};

    Kind kind() const override { return Kind::Timed; } // units depend on the destination
    void evaluate(Evaluation& e) override
    {
        const Extent extent = image() ? image()->extent() : Extent{};
        const double huge = 1e9;
        const double w = extent.infinite ? huge : std::min(extent.width, huge),
                     h = extent.infinite ? huge : std::min(extent.height, huge);
        width.set(w * e.stage.unitsPerPixel());
        height.set(h * e.stage.unitsPerPixel());
        ratio.set(h > 0 ? w / h : 0);
        pixelsWide.set(static_cast<std::uint32_t>(w));
        pixelsHigh.set(static_cast<std::uint32_t>(h));
    }
};

class InfoPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Image Info", "What an image is.",
            {{"inputImage", "The image"}, {"outputHasAlpha", "Whether some of it is transparent"},
                {"outputPixelsSizeH", "Its width", kPixels}, {"outputPixelsSizeV", "Its height", kPixels},
                {"outputPixelsOriginX", "Where its left edge is", kPixels},
                {"outputPixelsOriginY", "Where its lower edge is", kPixels}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"};
    Output<bool> hasAlpha{*this, "outputHasAlpha"};
    Output<double> sizeH{*this, "outputPixelsSizeH"}, sizeV{*this, "outputPixelsSizeV"},
        originX{*this, "outputPixelsOriginX"}, originY{*this, "outputPixelsOriginY"};
    void evaluate(Evaluation&) override
    {
        const Extent extent = image() ? image()->extent() : Extent{};
        const auto bitmap = image() ? image()->bitmap() : nullptr;
        hasAlpha.set(
            image() && (!bitmap || std::any_of(bitmap->pixels.begin(), bitmap->pixels.end(), [](std::uint32_t p) {
                return p >> 24 != 255;
            })));
        sizeH.set(extent.width);
        sizeV.set(extent.height);
        originX.set(extent.x);
        originY.set(extent.y);
    }
};

ImageRef applied(const char* name, const ImageRef& image, std::vector<double> numbers)
{
    return image ? filtered(*filterNamed(name), {image}, numbers, {}) : nullptr;
}

// Hands the image on; a scale of -1 mirrors it.
template <bool Older> class TexturingPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {Older ? "Image Texturing Properties (Older)" : "Image Texturing Properties",
            "Hands an image on. A scale below 0 mirrors it; what else it says of textures is left to the machine.",
            {{"inputImage", "The image"}, {"inputTarget", "Without effect here", menu({"Default", "Rectangle", "2D"})},
                {"inputMipmaps", "Without effect here", menu({"Default", "Disabled", "Enabled"})},
                {"inputScaleX", "Below 0, left and right change places"},
                {"inputScaleY", "Below 0, top and bottom change places"},
                {"inputRotate|inputTranslateX|inputTranslateY", "Without effect here"},
                {"outputImage", "The image, or its mirror image"}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"};
    Input<std::uint32_t> target{*this, "inputTarget"}, mipmaps{*this, "inputMipmaps"};
    Input<double> scaleX{*this, "inputScaleX", 1}, scaleY{*this, "inputScaleY", 1}, rotate{*this, "inputRotate"},
        translateX{*this, "inputTranslateX"}, translateY{*this, "inputTranslateY"};
    Output<ImageRef> result{*this, "outputImage"};
    void evaluate(Evaluation&) override
    {
        const bool mirrorX = scaleX() < 0, mirrorY = scaleY() < 0;
        if (!image() || image()->extent().infinite || (!mirrorX && !mirrorY)) {
            result.set(image());
            return;
        }
        const Extent& e = image()->extent();
        result.set(applied("CIAffineTransform", image(),
            {e.x + e.width / 2, e.y + e.height / 2, mirrorX ? -1.0 : 1.0, mirrorY ? -1.0 : 1.0, 0, 0, 0}));
    }
};

class ColorMatchingPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Image Color Matching Properties", "Hands an image on: all colours are taken as they are.",
            {{"inputImage", "The image"},
                {"inputColorMatching", "Without effect here", menu({"Default", "Enable", "Disable"})},
                {"outputImage", "The same image"}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"};
    Input<std::uint32_t> matching{*this, "inputColorMatching"};
    Output<ImageRef> result{*this, "outputImage"};
    void evaluate(Evaluation&) override { result.set(image()); }
};

class CropPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Image Crop", "A part of an image.",
            {{"inputImage", "The image"}, {"inputRectangle_X", "The left edge of the part", kPixels},
                {"inputRectangle_Y", "The lower edge of the part", kPixels},
                {"inputRectangle_Z", "How wide the part is", kLength},
                {"inputRectangle_W", "How high the part is", kLength}, {"outputImage", "The part, where it was"}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"};
    Input<double> x{*this, "inputRectangle_X"}, y{*this, "inputRectangle_Y"}, width{*this, "inputRectangle_Z", 100},
        height{*this, "inputRectangle_W", 100};
    Output<ImageRef> result{*this, "outputImage"};
    void evaluate(Evaluation&) override { result.set(applied("CICrop", image(), {x(), y(), width(), height()})); }
};

class TransformPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Image Transform", "Scales, turns and moves an image.",
            {{"inputImage", "The image"},
                {"inputTransform_OriginX|inputTransform_OriginY",
                    "The point about which it scales and turns, along this axis", kPixels},
                {"inputTransform_ScaleX|inputTransform_ScaleY", "How many times as large along this axis"},
                {"inputTransform_Rotate", "Its turn, counter-clockwise", kDegrees},
                {"inputTransform_TranslateX", "How far it moves to the right", kPixels},
                {"inputTransform_TranslateY", "How far it moves upwards", kPixels},
                {"outputImage", "The changed image"}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"};
    Input<double> originX{*this, "inputTransform_OriginX"}, originY{*this, "inputTransform_OriginY"},
        scaleX{*this, "inputTransform_ScaleX", 1}, scaleY{*this, "inputTransform_ScaleY", 1},
        rotate{*this, "inputTransform_Rotate"}, translateX{*this, "inputTransform_TranslateX"},
        translateY{*this, "inputTransform_TranslateY"};
    Output<ImageRef> result{*this, "outputImage"};
    void evaluate(Evaluation&) override
    {
        result.set(applied("CIAffineTransform", image(),
            {originX(), originY(), scaleX(), scaleY(), rotate(), translateX(), translateY()}));
    }
};

class ResizePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Image Resize", "Makes an image larger or smaller.",
            {{"inputImage", "The image"},
                {"inputMode",
                    "How it becomes of the size: stretched, to fit within it, or to fill it, which cuts off what is "
                    "too much",
                    menu({"Stretch", "Fit", "Fill"})},
                {"inputCondition", "Which images are changed",
                    menu({"All", "Those That Are Smaller", "Those That Are Larger"})},
                {"inputWidth", "How wide it becomes", {"pixels", 1}},
                {"inputHeight", "How high it becomes", {"pixels", 1}}, {"outputImage", "The image of that size"}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"};
    Input<std::uint32_t> mode{*this, "inputMode"}, condition{*this, "inputCondition"}, width{*this, "inputWidth", 100},
        height{*this, "inputHeight", 100};
    Output<ImageRef> result{*this, "outputImage"};

    static constexpr double kMaxPixels = 16e6;

    void evaluate(Evaluation& e) override
    {
        const Extent extent = image() ? image()->extent() : Extent{};
        const double most = e.stage.canvas().largestSide();
        const double w = std::clamp<double>(width(), 1, most), h = std::clamp<double>(height(), 1, most);
        const bool smaller = extent.width < w && extent.height<h, bigger = extent.width> w || extent.height > h;
        if (!image() || extent.infinite || extent.empty() || (condition() == 1 && !smaller)
            || (condition() == 2 && !bigger)) {
            result.set(image());
            return;
        }
        double sx = w / extent.width, sy = h / extent.height;
        if (mode() == 1)
            sx = sy = std::min(sx, sy);
        else if (mode() == 2)
            sx = sy = std::max(sx, sy);
        const double fullWidth = std::max(1.0, std::round(extent.width * sx)),
                     fullHeight = std::max(1.0, std::round(extent.height * sy));
        if (const auto bitmap = image()->bitmap(); bitmap && fullWidth * fullHeight <= kMaxPixels) {
            if (!roomForImages())
                return;
            auto small = resampled(*bitmap, static_cast<int>(fullWidth), static_cast<int>(fullHeight));
            if (mode() == 2)
                small = centred(small, static_cast<int>(w), static_cast<int>(h));
            result.set(ownImage(std::make_shared<const Bitmap>(std::move(small))));
            return;
        }
        // Filling leaves what is beyond the middle away.
        const double left = mode() == 2 ? std::floor((fullWidth - w) / 2) : 0,
                     bottom = mode() == 2 ? std::floor((fullHeight - h) / 2) : 0;
        const ImageRef scaled = applied(
            "CIAffineTransform", image(), {extent.x, extent.y, sx, sy, 0, -extent.x - left, -extent.y - bottom});
        result.set(mode() == 2 ? applied("CICrop", scaled, {0, 0, w, h}) : scaled);
    }
};

// The colour of one pixel. Only of images whose pixels are at hand; a drawn one gives nothing.
class PixelPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Image Pixel", "The colour of one pixel. Only of pictures: what is drawn or filtered gives nothing.",
            {{"inputImage", "The image"}, {"inputPixelX", "Which pixel, counted from the left", kLength},
                {"inputPixelY", "Which pixel, counted from below", kLength}, {"inputColorSpace", "Without effect here"},
                {"outputRed|outputGreen|outputBlue", "This part of its colour", kShare},
                {"outputAlpha", "How opaque it is", kShare}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"};
    Input<double> x{*this, "inputPixelX"}, y{*this, "inputPixelY"};
    Input<std::uint32_t> colorSpace{*this, "inputColorSpace"};
    Output<double> red{*this, "outputRed"}, green{*this, "outputGreen"}, blue{*this, "outputBlue"},
        alpha{*this, "outputAlpha"};
    void evaluate(Evaluation&) override
    {
        const auto bitmap = image() ? image()->bitmap() : nullptr;
        NSColor color;
        if (bitmap && x() >= 0 && y() >= 0 && x() < bitmap->width && y() < bitmap->height) {
            const auto row = static_cast<std::size_t>(bitmap->height - 1 - static_cast<int>(y()));
            color = straight(
                bitmap->pixels[row * static_cast<std::size_t>(bitmap->width) + static_cast<std::size_t>(x())]);
        }
        red.set(color.red);
        green.set(color.green);
        blue.set(color.blue);
        alpha.set(color.alpha);
    }
};

} // namespace

void registerImagesPatches(PatchRegistry& registry)
{
    registry.family("Images");
    registry.add<ImageLoaderPatch>("QCImageLoader");
    registry.add<DimensionsPatch>("QCImageDimensions");
    registry.add<InfoPatch>("QCImageInfo");
    registry.add<TexturingPatch<true>>("QCImageMatrix");
    registry.add<TexturingPatch<false>>("QCImageTexturingProperties");
    registry.add<ColorMatchingPatch>("QCImageColorMatchingProperties");
    registry.add<CropPatch>("QCImageCrop");
    registry.add<TransformPatch>("QCImageTransform");
    registry.add<ResizePatch>("QCImageResize");
    registry.add<PixelPatch>("QCImagePixel");
}

} // namespace vitrel::qc
