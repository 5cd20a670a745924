#include "platform/quartzcomposer/scene/Filters.h"

#include "platform/quartzcomposer/scene/Matrix.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

using R = ExtentRule;
using K = ParameterKind;

#define VITREL_ONE_IMAGE                                                                                               \
    {                                                                                                                  \
        "inputImage"                                                                                                   \
    }
#define VITREL_BLEND(name)                                                                                             \
    {                                                                                                                  \
        name, R::Union, {"inputImage", "inputBackgroundImage"}, { }                                                    \
    }

constexpr Filter kFilters[] = {
    {"CICrop", R::Crop, VITREL_ONE_IMAGE, {{"inputRectangle", K::Rectangle, {0, 0, 300, 300}}}},
    {"CIAffineTransform", R::Transform, VITREL_ONE_IMAGE, {{"inputTransform", K::Transform}}},
    {"CIAffineClamp", R::Infinite, VITREL_ONE_IMAGE, {{"inputTransform", K::Transform}}},
    {"CIGaussianBlur", R::Blur, VITREL_ONE_IMAGE, {{"inputRadius", K::Length, {10}}}},
    {"CIDiscBlur", R::Blur, VITREL_ONE_IMAGE, {{"inputRadius", K::Length, {8}}}},
    {"CIConstantColorGenerator", R::Infinite, {}, {{"inputColor", K::Color, {1, 0, 0, 1}}}},
    {"CIRadialGradient", R::Infinite, {},
        {{"inputCenter", K::Point, {150, 150}}, {"inputRadius0", K::Length, {5}}, {"inputRadius1", K::Length, {100}},
            {"inputColor0", K::Color, {1, 1, 1, 1}}, {"inputColor1", K::Color, {0, 0, 0, 1}}}},
    {"CIGaussianGradient", R::Infinite, {},
        {{"inputCenter", K::Point, {150, 150}}, {"inputRadius", K::Length, {300}},
            {"inputColor0", K::Color, {1, 1, 1, 1}}, {"inputColor1", K::Color, {0, 0, 0, 0}}}},
    {"CILinearGradient", R::Infinite, {},
        {{"inputPoint0", K::Point, {0, 0}}, {"inputPoint1", K::Point, {200, 200}},
            {"inputColor0", K::Color, {1, 1, 1, 1}}, {"inputColor1", K::Color, {0, 0, 0, 1}}}},
    {"CICheckerboardGenerator", R::Infinite, {},
        {{"inputCenter", K::Point, {150, 150}}, {"inputWidth", K::Length, {80}}, {"inputSharpness", K::Number, {1}},
            {"inputColor0", K::Color, {1, 1, 1, 1}}, {"inputColor1", K::Color, {0, 0, 0, 1}}}},
    {"CIBlendWithMask", R::Union, {"inputImage", "inputBackgroundImage", "inputMaskImage"}, {}},
    {"CIMaskToAlpha", R::Same, VITREL_ONE_IMAGE, {}},
    {"CISourceOverCompositing", R::Union, {"inputImage", "inputBackgroundImage"}, {}},
    {"CISourceInCompositing", R::Intersection, {"inputImage", "inputBackgroundImage"}, {}},
    {"CISourceOutCompositing", R::Same, {"inputImage", "inputBackgroundImage"}, {}},
    VITREL_BLEND("CISourceAtopCompositing"),
    VITREL_BLEND("CIAdditionCompositing"),
    VITREL_BLEND("CIMultiplyCompositing"),
    VITREL_BLEND("CIMaximumCompositing"),
    VITREL_BLEND("CIMinimumCompositing"),
    VITREL_BLEND("CIMultiplyBlendMode"),
    VITREL_BLEND("CIExclusionBlendMode"),
    VITREL_BLEND("CIColorBurnBlendMode"),
    VITREL_BLEND("CIColorDodgeBlendMode"),
    VITREL_BLEND("CIDarkenBlendMode"),
    VITREL_BLEND("CIDifferenceBlendMode"),
    VITREL_BLEND("CIHardLightBlendMode"),
    VITREL_BLEND("CILightenBlendMode"),
    VITREL_BLEND("CIOverlayBlendMode"),
    VITREL_BLEND("CIScreenBlendMode"),
    VITREL_BLEND("CISoftLightBlendMode"),
    VITREL_BLEND("CISubtractBlendMode"),
    VITREL_BLEND("CIColorBlendMode"),
    VITREL_BLEND("CIHueBlendMode"),
    VITREL_BLEND("CILuminosityBlendMode"),
    VITREL_BLEND("CISaturationBlendMode"),
    {"CIColorInvert", R::Same, VITREL_ONE_IMAGE, {}},
    {"CIColorControls", R::Same, VITREL_ONE_IMAGE,
        {{"inputSaturation", K::Number, {1}}, {"inputBrightness", K::Number, {0}}, {"inputContrast", K::Number, {1}}}},
    {"CIExposureAdjust", R::Same, VITREL_ONE_IMAGE, {{"inputEV", K::Number, {0.5}}}},
    {"CIGammaAdjust", R::Same, VITREL_ONE_IMAGE, {{"inputPower", K::Number, {0.75}}}},
    {"CIHueAdjust", R::Same, VITREL_ONE_IMAGE, {{"inputAngle", K::Number, {0}}}},
    {"CIColorMonochrome", R::Same, VITREL_ONE_IMAGE,
        {{"inputIntensity", K::Number, {1}}, {"inputColor", K::Color, {0.6, 0.45, 0.3, 1}}}},
    {"CISepiaTone", R::Same, VITREL_ONE_IMAGE, {{"inputIntensity", K::Number, {1}}}},
    {"CIFalseColor", R::Same, VITREL_ONE_IMAGE,
        {{"inputColor0", K::Color, {0.3, 0, 0, 1}}, {"inputColor1", K::Color, {1, 0.9, 0.8, 1}}}},
    {"CIPixellate", R::Same, VITREL_ONE_IMAGE, {{"inputCenter", K::Point, {150, 150}}, {"inputScale", K::Length, {8}}}},
    {"CIKaleidoscope", R::Infinite, VITREL_ONE_IMAGE,
        {{"inputCenter", K::Point, {150, 150}}, {"inputCount", K::Number, {6}}, {"inputAngle", K::Number, {0}}}},
    {"CIDissolveTransition", R::Union, {"inputImage", "inputTargetImage"}, {{"inputTime", K::Number, {0}}}},
};

#undef VITREL_ONE_IMAGE
#undef VITREL_BLEND

// A picture larger than this is nobody's intention.
constexpr double kMaxGrowth = 1000;

Extent transformed(const Extent& e, const Affine& t)
{
    if (e.infinite)
        return e;
    double left = 1e300, right = -1e300, bottom = 1e300, top = -1e300;
    for (const double x : {e.x, e.x + e.width}) {
        for (const double y : {e.y, e.y + e.height}) {
            left = std::min(left, t.a * x + t.c * y + t.tx);
            right = std::max(right, t.a * x + t.c * y + t.tx);
            bottom = std::min(bottom, t.b * x + t.d * y + t.ty);
            top = std::max(top, t.b * x + t.d * y + t.ty);
        }
    }
    return {left, bottom, right - left, top - bottom, false};
}

Extent extentOf(const Filter& filter, const std::vector<ImageRef>& images, const std::vector<double>& numbers)
{
    const auto of = [&](std::size_t k) { return k < images.size() && images[k] ? images[k]->extent() : Extent{}; };
    switch (filter.rule) {
    case R::Same:
        return of(0);
    case R::Union:
        return unite(of(0), of(1));
    case R::Intersection:
        return intersect(of(0), of(1));
    case R::Infinite:
        return {0, 0, 0, 0, true};
    case R::Blur:
        return grow(of(0), std::ceil(std::clamp(3 * numbers[0], 0.0, kMaxGrowth)));
    case R::Crop:
        return intersect(of(0), {numbers[0], numbers[1], std::max(0.0, numbers[2]), std::max(0.0, numbers[3]), false});
    case R::Transform:
        return transformed(of(0), affineOf(numbers));
    }
    return {};
}

} // namespace

std::span<const Filter> allFilters()
{
    return kFilters;
}

const Filter* filterNamed(const std::string& name)
{
    for (const Filter& filter : kFilters) {
        if (name == filter.name)
            return &filter;
    }
    return nullptr;
}

Affine affineOf(std::span<const double> n)
{
    if (n.size() < 7)
        return {};
    const double s = std::sin(radians(n[4])), c = std::cos(radians(n[4]));
    Affine t{c * n[2], s * n[2], -s * n[3], c * n[3], 0, 0};
    // About the origin point, then moved.
    t.tx = n[0] + n[5] - (t.a * n[0] + t.c * n[1]);
    t.ty = n[1] + n[6] - (t.b * n[0] + t.d * n[1]);
    return t;
}

ImageRef filtered(const Filter& filter, const std::vector<ImageRef>& images, const std::vector<double>& numbers,
    const std::vector<NSColor>& colors)
{
    if (filter.images[0] && (images.empty() || !images[0]))
        return nullptr;
    if (LazyImage::deepest(images) >= LazyImage::kMaxLevels)
        return images[0];
    const bool sound = std::all_of(numbers.begin(), numbers.end(), [](double n) { return std::isfinite(n); });
    const Extent extent = sound ? extentOf(filter, images, numbers) : Extent{};
    if (extent.empty() || !std::isfinite(extent.width * extent.height))
        return nullptr;
    return std::make_shared<FilteredImage>(extent, filter.name, images, numbers, colors);
}

} // namespace vitrel::qc
