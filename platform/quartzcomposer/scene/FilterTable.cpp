// Every filter that compositions may use, by its documented name, parameters and usual values. The page of examples
// takes its groups and values from here.
#include "platform/quartzcomposer/scene/Filters.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

using R = ExtentRule;
using K = ParameterKind;
using Numbers = std::span<const double>;
using Colors = std::span<const NSColor>;

#define VITREL_ONE_IMAGE                                                                                               \
    {                                                                                                                  \
        "inputImage"                                                                                                   \
    }
#define VITREL_BLEND(name)                                                                                             \
    {                                                                                                                  \
        name, R::Union, {"inputImage", "inputBackgroundImage"}, { }                                                    \
    }
#define VITREL_PLAIN(name)                                                                                             \
    {                                                                                                                  \
        name, R::Same, VITREL_ONE_IMAGE, { }                                                                           \
    }

constexpr FilterParameter kCenter{"inputCenter", K::Point, {150, 150}};
constexpr FilterParameter kTime{"inputTime", K::Number, {0}};
constexpr FilterParameter kWhole{"inputExtent", K::Rectangle, {0, 0, 300, 300}};

constexpr FilterParameter length(const char* key, double usual)
{
    return {key, K::Length, {usual}};
}
constexpr FilterParameter number(const char* key, double usual)
{
    return {key, K::Number, {usual}};
}
constexpr FilterParameter angle(double degrees, const char* key = "inputAngle")
{
    return {key, K::Angle, {degrees}};
}

// A gradient that ends in nothing has an end.
double clearBeyond(double radius, const NSColor& outer)
{
    return outer.alpha <= 0 ? std::max(0.0, radius) : -1;
}

constexpr Filter kFilters[] = {
    // Common ones
    {"CICrop", R::Crop, VITREL_ONE_IMAGE, {{"inputRectangle", K::Rectangle, {0, 0, 300, 300}}}},
    {"CIAffineTransform", R::Transform, VITREL_ONE_IMAGE, {{"inputTransform", K::Transform}}},
    {"CIAffineClamp", R::Infinite, VITREL_ONE_IMAGE, {{"inputTransform", K::Transform}}},
    {"CIGaussianBlur", R::Blur, VITREL_ONE_IMAGE, {{"inputRadius", K::Length, {10}}}},
    {"CIDiscBlur", R::Blur, VITREL_ONE_IMAGE, {{"inputRadius", K::Length, {8}}}},
    {"CIConstantColorGenerator", R::Infinite, {}, {{"inputColor", K::Color, {1, 0, 0, 1}}}},
    {"CIRadialGradient", R::Around, {},
        {{"inputCenter", K::Point, {150, 150}}, {"inputRadius0", K::Length, {5}}, {"inputRadius1", K::Length, {100}},
            {"inputColor0", K::Color, {1, 1, 1, 1}}, {"inputColor1", K::Color, {0, 0, 0, 1}}},
        [](Numbers n, Colors c) { return n[3] >= n[2] ? clearBeyond(n[3], c[1]) : clearBeyond(n[2], c[0]); }},
    {"CIGaussianGradient", R::Around, {},
        {{"inputCenter", K::Point, {150, 150}}, {"inputRadius", K::Length, {300}},
            {"inputColor0", K::Color, {1, 1, 1, 1}}, {"inputColor1", K::Color, {0, 0, 0, 0}}},
        [](Numbers n, Colors c) { return clearBeyond(n[2], c[1]); }},
    {"CILinearGradient", R::Infinite, {},
        {{"inputPoint0", K::Point, {0, 0}}, {"inputPoint1", K::Point, {200, 200}},
            {"inputColor0", K::Color, {1, 1, 1, 1}}, {"inputColor1", K::Color, {0, 0, 0, 1}}}},
    {"CICheckerboardGenerator", R::Infinite, {},
        {{"inputCenter", K::Point, {150, 150}}, {"inputWidth", K::Length, {80}}, {"inputSharpness", K::Number, {1}},
            {"inputColor0", K::Color, {1, 1, 1, 1}}, {"inputColor1", K::Color, {0, 0, 0, 1}}}},
    {"CIBlendWithMask", R::Masked, {"inputImage", "inputBackgroundImage", "inputMaskImage"}, {}},
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
    {"CIHueAdjust", R::Same, VITREL_ONE_IMAGE, {angle(0)}},
    {"CIColorMonochrome", R::Same, VITREL_ONE_IMAGE,
        {{"inputIntensity", K::Number, {1}}, {"inputColor", K::Color, {0.6, 0.45, 0.3, 1}}}},
    {"CISepiaTone", R::Same, VITREL_ONE_IMAGE, {{"inputIntensity", K::Number, {1}}}},
    {"CIFalseColor", R::Same, VITREL_ONE_IMAGE,
        {{"inputColor0", K::Color, {0.3, 0, 0, 1}}, {"inputColor1", K::Color, {1, 0.9, 0.8, 1}}}},
    {"CIPixellate", R::Same, VITREL_ONE_IMAGE, {{"inputCenter", K::Point, {150, 150}}, {"inputScale", K::Length, {8}}}},
    {"CIKaleidoscope", R::Infinite, VITREL_ONE_IMAGE,
        {{"inputCenter", K::Point, {150, 150}}, {"inputCount", K::Number, {6}}, angle(0)}},
    {"CIDissolveTransition", R::Union, {"inputImage", "inputTargetImage"}, {{"inputTime", K::Number, {0}}}},
    // Colours
    {"CIColorClamp", R::Same, VITREL_ONE_IMAGE,
        {{"inputMinComponents", K::Vector, {0, 0, 0, 0}}, {"inputMaxComponents", K::Vector, {1, 1, 1, 1}}}},
    {"CIColorMatrix", R::Same, VITREL_ONE_IMAGE,
        {{"inputRVector", K::Vector, {1, 0, 0, 0}}, {"inputGVector", K::Vector, {0, 1, 0, 0}},
            {"inputBVector", K::Vector, {0, 0, 1, 0}}, {"inputAVector", K::Vector, {0, 0, 0, 1}},
            {"inputBiasVector", K::Vector, {0, 0, 0, 0}}}},
    {"CIColorPolynomial", R::Same, VITREL_ONE_IMAGE,
        {{"inputRedCoefficients", K::Vector, {0, 1, 0, 0}}, {"inputGreenCoefficients", K::Vector, {0, 1, 0, 0}},
            {"inputBlueCoefficients", K::Vector, {0, 1, 0, 0}}, {"inputAlphaCoefficients", K::Vector, {0, 1, 0, 0}}}},
    {"CITemperatureAndTint", R::Same, VITREL_ONE_IMAGE,
        {{"inputNeutral", K::Pair, {6500, 0}}, {"inputTargetNeutral", K::Pair, {6500, 0}}}},
    {"CIToneCurve", R::Same, VITREL_ONE_IMAGE,
        {{"inputPoint0", K::Pair, {0, 0}}, {"inputPoint1", K::Pair, {0.25, 0.25}}, {"inputPoint2", K::Pair, {0.5, 0.5}},
            {"inputPoint3", K::Pair, {0.75, 0.75}}, {"inputPoint4", K::Pair, {1, 1}}}},
    {"CIVibrance", R::Same, VITREL_ONE_IMAGE, {number("inputAmount", 0)}},
    {"CIWhitePointAdjust", R::Same, VITREL_ONE_IMAGE, {{"inputColor", K::Color, {1, 1, 1, 1}}}},
    {"CIColorPosterize", R::Same, VITREL_ONE_IMAGE, {number("inputLevels", 6)}},
    {"CIColorMap", R::Same, {"inputImage", "inputGradientImage"}, {}},
    {"CIVignette", R::Same, VITREL_ONE_IMAGE, {number("inputRadius", 1), number("inputIntensity", 0)}},
    {"CIVignetteEffect", R::Same, VITREL_ONE_IMAGE,
        {kCenter, length("inputRadius", 150), number("inputIntensity", 1), number("inputFalloff", 0.5)}},
    {"CIHighlightShadowAdjust", R::Same, VITREL_ONE_IMAGE,
        {length("inputRadius", 0), number("inputShadowAmount", 0), number("inputHighlightAmount", 1)}},
    VITREL_PLAIN("CILinearToSRGBToneCurve"),
    VITREL_PLAIN("CISRGBToneCurveToLinear"),
    VITREL_PLAIN("CIMaximumComponent"),
    VITREL_PLAIN("CIMinimumComponent"),
    VITREL_PLAIN("CIPhotoEffectChrome"),
    VITREL_PLAIN("CIPhotoEffectFade"),
    VITREL_PLAIN("CIPhotoEffectInstant"),
    VITREL_PLAIN("CIPhotoEffectMono"),
    VITREL_PLAIN("CIPhotoEffectNoir"),
    VITREL_PLAIN("CIPhotoEffectProcess"),
    VITREL_PLAIN("CIPhotoEffectTonal"),
    VITREL_PLAIN("CIPhotoEffectTransfer"),
    VITREL_BLEND("CIDivideBlendMode"),
    VITREL_BLEND("CILinearBurnBlendMode"),
    VITREL_BLEND("CILinearDodgeBlendMode"),
    VITREL_BLEND("CILinearLightBlendMode"),
    VITREL_BLEND("CIPinLightBlendMode"),
    VITREL_BLEND("CIVividLightBlendMode"),
    {"CIBlendWithAlphaMask", R::Masked, {"inputImage", "inputBackgroundImage", "inputMaskImage"}, {}},
    // Blurs, edges, light
    {"CIBoxBlur", R::Blur, VITREL_ONE_IMAGE, {length("inputRadius", 10)}},
    {"CICheapBlur", R::Same, VITREL_ONE_IMAGE, {number("inputPasses", 1), number("inputSampling", 1)}},
    {"CIMotionBlur", R::Grown, VITREL_ONE_IMAGE, {length("inputRadius", 20), angle(0)},
        [](Numbers n, Colors) { return std::fabs(n[0]); }},
    {"CIZoomBlur", R::Same, VITREL_ONE_IMAGE, {kCenter, length("inputAmount", 20)}},
    VITREL_PLAIN("CIMedianFilter"),
    {"CINoiseReduction", R::Same, VITREL_ONE_IMAGE, {number("inputNoiseLevel", 0.02), number("inputSharpness", 0.4)}},
    {"CISharpenLuminance", R::Same, VITREL_ONE_IMAGE, {number("inputSharpness", 0.4)}},
    {"CIUnsharpMask", R::Same, VITREL_ONE_IMAGE, {length("inputRadius", 2.5), number("inputIntensity", 0.5)}, nullptr,
        true},
    {"CIBloom", R::Blur, VITREL_ONE_IMAGE, {length("inputRadius", 10), number("inputIntensity", 1)}, nullptr, true},
    {"CIGloom", R::Blur, VITREL_ONE_IMAGE, {length("inputRadius", 10), number("inputIntensity", 1)}, nullptr, true},
    {"CIHeightFieldFromMask", R::Same, VITREL_ONE_IMAGE, {length("inputRadius", 10)}, nullptr, true},
    {"CIEdges", R::Same, VITREL_ONE_IMAGE, {number("inputIntensity", 1)}},
    {"CIEdgeWork", R::Same, VITREL_ONE_IMAGE, {length("inputRadius", 3)}, nullptr, true},
    // Cells and screens
    {"CICrystallize", R::Same, VITREL_ONE_IMAGE, {length("inputRadius", 20), kCenter}},
    {"CIPointillize", R::Same, VITREL_ONE_IMAGE, {length("inputRadius", 20), kCenter}},
    {"CIHexagonalPixellate", R::Same, VITREL_ONE_IMAGE, {kCenter, length("inputScale", 8)}},
    {"CICircularScreen", R::Same, VITREL_ONE_IMAGE, {kCenter, length("inputWidth", 6), number("inputSharpness", 0.7)}},
    {"CIDotScreen", R::Same, VITREL_ONE_IMAGE,
        {kCenter, angle(0), length("inputWidth", 6), number("inputSharpness", 0.7)}},
    {"CIHatchedScreen", R::Same, VITREL_ONE_IMAGE,
        {kCenter, angle(0), length("inputWidth", 6), number("inputSharpness", 0.7)}},
    {"CILineScreen", R::Same, VITREL_ONE_IMAGE,
        {kCenter, angle(0), length("inputWidth", 6), number("inputSharpness", 0.7)}},
    {"CICMYKHalftone", R::Same, VITREL_ONE_IMAGE,
        {kCenter, length("inputWidth", 6), angle(0), number("inputSharpness", 0.7), number("inputGCR", 1),
            number("inputUCR", 0.5)}},
    // Distortions
    {"CIBumpDistortion", R::Same, VITREL_ONE_IMAGE, {kCenter, length("inputRadius", 300), number("inputScale", 0.5)}},
    {"CIBumpDistortionLinear", R::Same, VITREL_ONE_IMAGE,
        {kCenter, length("inputRadius", 300), angle(0), number("inputScale", 0.5)}},
    {"CICircleSplashDistortion", R::Infinite, VITREL_ONE_IMAGE, {kCenter, length("inputRadius", 150)}},
    {"CICircularWrap", R::Infinite, VITREL_ONE_IMAGE, {kCenter, length("inputRadius", 150), angle(0)}},
    {"CIDisplacementDistortion", R::Grown, {"inputImage", "inputDisplacementImage"}, {length("inputScale", 50)},
        [](Numbers n, Colors) { return std::fabs(n[0]) / 2; }},
    {"CIGlassDistortion", R::Same, {"inputImage", "inputTexture"}, {kCenter, length("inputScale", 200)}},
    {"CIGlassLozenge", R::Same, VITREL_ONE_IMAGE,
        {{"inputPoint0", K::Point, {150, 150}}, {"inputPoint1", K::Point, {350, 150}}, length("inputRadius", 100),
            number("inputRefraction", 1.7)}},
    {"CIHoleDistortion", R::Same, VITREL_ONE_IMAGE, {kCenter, length("inputRadius", 150)}},
    {"CILightTunnel", R::Infinite, VITREL_ONE_IMAGE, {kCenter, angle(0, "inputRotation"), length("inputRadius", 100)}},
    {"CIPinchDistortion", R::Same, VITREL_ONE_IMAGE, {kCenter, length("inputRadius", 300), number("inputScale", 0.5)}},
    {"CITorusLensDistortion", R::Same, VITREL_ONE_IMAGE,
        {kCenter, length("inputRadius", 160), length("inputWidth", 80), number("inputRefraction", 1.7)}},
    {"CITwirlDistortion", R::Same, VITREL_ONE_IMAGE, {kCenter, length("inputRadius", 300), angle(180)}},
    {"CIVortexDistortion", R::Same, VITREL_ONE_IMAGE, {kCenter, length("inputRadius", 300), angle(3240)}},
    {"CIPerspectiveTransform", R::Corners, VITREL_ONE_IMAGE,
        {{"inputTopLeft", K::Point, {118, 484}}, {"inputTopRight", K::Point, {646, 507}},
            {"inputBottomRight", K::Point, {548, 140}}, {"inputBottomLeft", K::Point, {155, 153}}}},
    // Generators
    {"CIRandomGenerator", R::Infinite, {}, {}},
    {"CIStripesGenerator", R::Infinite, {},
        {kCenter, length("inputWidth", 80), number("inputSharpness", 1), {"inputColor0", K::Color, {1, 1, 1, 1}},
            {"inputColor1", K::Color, {0, 0, 0, 1}}}},
    {"CISmoothLinearGradient", R::Infinite, {},
        {{"inputPoint0", K::Point, {0, 0}}, {"inputPoint1", K::Point, {200, 200}},
            {"inputColor0", K::Color, {1, 1, 1, 1}}, {"inputColor1", K::Color, {0, 0, 0, 1}}}},
    {"CICircleGenerator", R::Infinite, {},
        {{"inputCenter", K::Point, {400, 400}}, length("inputRadius", 300), length("inputEdgeBlur", 1),
            {"inputColor", K::Color, {1, 1, 1, 1}}}},
    {"CISunbeamsGenerator", R::Around, {},
        {kCenter, length("inputSunRadius", 40), number("inputMaxStriationRadius", 2.58),
            number("inputStriationStrength", 0.5), number("inputStriationContrast", 1.375), kTime,
            {"inputColor", K::Color, {1, 0.5, 0, 1}}},
        [](Numbers n, Colors) { return std::max(0.0, n[2]) * (1 + std::max(0.0, n[3])) + 1; }},
    {"CILenticularHaloGenerator", R::Around, {},
        {kCenter, length("inputHaloRadius", 70), length("inputHaloWidth", 87), number("inputHaloOverlap", 0.77),
            number("inputStriationStrength", 0.5), number("inputStriationContrast", 1), kTime,
            {"inputColor", K::Color, {1, 0.9, 0.8, 1}}},
        [](Numbers n, Colors) { return std::max(0.0, n[2]) + std::max(0.0, n[3]) * 1.5; }},
    {"CIStarShineGenerator", R::Infinite, {},
        {kCenter, length("inputRadius", 50), number("inputCrossScale", 15), angle(34.37746770784939, "inputCrossAngle"),
            number("inputCrossOpacity", -2), number("inputCrossWidth", 2.5), number("inputEpsilon", -2),
            {"inputColor", K::Color, {1, 0.8, 0.6, 1}}}},
    // Tiles
    {"CIAffineTile", R::Infinite, VITREL_ONE_IMAGE, {{"inputTransform", K::Transform}}},
    {"CIFourfoldTranslatedTile", R::Infinite, VITREL_ONE_IMAGE,
        {kCenter, angle(0), length("inputWidth", 100), angle(90, "inputAcuteAngle")}},
    {"CIFourfoldReflectedTile", R::Infinite, VITREL_ONE_IMAGE,
        {kCenter, angle(0), length("inputWidth", 100), angle(90, "inputAcuteAngle")}},
    {"CIParallelogramTile", R::Infinite, VITREL_ONE_IMAGE,
        {kCenter, angle(0), length("inputWidth", 100), angle(90, "inputAcuteAngle")}},
    {"CIFourfoldRotatedTile", R::Infinite, VITREL_ONE_IMAGE, {kCenter, angle(0), length("inputWidth", 100)}},
    {"CIEightfoldReflectedTile", R::Infinite, VITREL_ONE_IMAGE, {kCenter, angle(0), length("inputWidth", 100)}},
    {"CIGlideReflectedTile", R::Infinite, VITREL_ONE_IMAGE, {kCenter, angle(0), length("inputWidth", 100)}},
    {"CISixfoldReflectedTile", R::Infinite, VITREL_ONE_IMAGE, {kCenter, angle(0), length("inputWidth", 100)}},
    {"CISixfoldRotatedTile", R::Infinite, VITREL_ONE_IMAGE, {kCenter, angle(0), length("inputWidth", 100)}},
    {"CITwelvefoldReflectedTile", R::Infinite, VITREL_ONE_IMAGE, {kCenter, angle(0), length("inputWidth", 100)}},
    {"CITriangleTile", R::Infinite, VITREL_ONE_IMAGE, {kCenter, angle(0), length("inputWidth", 100)}},
    {"CIOpTile", R::Infinite, VITREL_ONE_IMAGE,
        {kCenter, number("inputScale", 2.8), angle(0), length("inputWidth", 65)}},
    {"CITriangleKaleidoscope", R::Infinite, VITREL_ONE_IMAGE,
        {{"inputPoint", K::Point, {150, 150}}, length("inputSize", 700), angle(-20.78, "inputRotation"),
            number("inputDecay", 0.85)}},
    // Transitions
    {"CIBarsSwipeTransition", R::Union, {"inputImage", "inputTargetImage"},
        {angle(180), length("inputWidth", 30), length("inputBarOffset", 10), kTime}},
    {"CICopyMachineTransition", R::Union, {"inputImage", "inputTargetImage"},
        {kWhole, kTime, angle(0), length("inputWidth", 200), number("inputOpacity", 1.3),
            {"inputColor", K::Color, {0.6, 1, 0.8, 1}}}},
    {"CIDisintegrateWithMaskTransition", R::Union, {"inputImage", "inputTargetImage", "inputMaskImage"},
        {kTime, length("inputShadowRadius", 8), number("inputShadowDensity", 0.65),
            {"inputShadowOffset", K::Point, {0, -10}}}},
    {"CIFlashTransition", R::Union, {"inputImage", "inputTargetImage"},
        {kCenter, kTime, number("inputMaxStriationRadius", 2.58), number("inputStriationStrength", 0.5),
            number("inputStriationContrast", 1.375), number("inputFadeThreshold", 0.85),
            {"inputColor", K::Color, {1, 0.8, 0.6, 1}}}},
    {"CIModTransition", R::Union, {"inputImage", "inputTargetImage"},
        {kCenter, kTime, angle(114.59155902616465), length("inputRadius", 150), length("inputCompression", 300)}},
    {"CIRippleTransition", R::Union, {"inputImage", "inputTargetImage", "inputShadingImage"},
        {kCenter, kTime, length("inputWidth", 100), length("inputScale", 50)}},
    {"CISwipeTransition", R::Union, {"inputImage", "inputTargetImage"},
        {kWhole, kTime, angle(0), length("inputWidth", 300), number("inputOpacity", 0),
            {"inputColor", K::Color, {1, 1, 1, 1}}}},
    // What an image comes to
    {"CIAreaAverage", R::Pixel, VITREL_ONE_IMAGE, {kWhole}},
    {"CIAreaMaximum", R::Pixel, VITREL_ONE_IMAGE, {kWhole}},
    {"CIAreaMinimum", R::Pixel, VITREL_ONE_IMAGE, {kWhole}},
    {"CIRowAverage", R::Column, VITREL_ONE_IMAGE, {kWhole}},
    {"CIColumnAverage", R::Row, VITREL_ONE_IMAGE, {kWhole}},
};

#undef VITREL_ONE_IMAGE
#undef VITREL_BLEND
#undef VITREL_PLAIN

} // namespace

std::span<const Filter> allFilters()
{
    return kFilters;
}

const Filter* filterNamed(const std::string& name)
{
    const auto found
        = std::find_if(std::begin(kFilters), std::end(kFilters), [&](const Filter& f) { return name == f.name; });
    return found == std::end(kFilters) ? nullptr : &*found;
}

} // namespace vitrel::qc
