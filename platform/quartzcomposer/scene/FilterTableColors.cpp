// Filters that change colours, lay one image upon another, and those that most compositions use.
#include "platform/quartzcomposer/scene/FilterTable.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

// A gradient that ends in nothing has an end.
double clearBeyond(double radius, const NSColor& outer)
{
    return outer.alpha <= 0 ? std::max(0.0, radius) : -1;
}

constexpr Filter kCommon[] = {
    {"CICrop", "Crop", "A part of the image.", R::Crop, VITREL_ONE_IMAGE,
        {{"inputRectangle", K::Rectangle, {0, 0, 300, 300}, "What is left"}}},
    {"CIAffineTransform", "Affine Transform", "The image scaled, turned and moved about its origin.", R::Transform,
        VITREL_ONE_IMAGE, {{"inputTransform", K::Transform, {}, "How it is changed"}}},
    {"CIAffineClamp", "Affine Clamp", "As Affine Transform, and the pixels at the edges go on for ever.", R::Infinite,
        VITREL_ONE_IMAGE, {{"inputTransform", K::Transform, {}, "How it is changed"}}},
    {"CIGaussianBlur", "Gaussian Blur", "Softens the image by a bell over every pixel.", R::Blur, VITREL_ONE_IMAGE,
        {length("inputRadius", 10, "How far it blurs", 0)}},
    {"CIDiscBlur", "Disc Blur", "Softens the image by a disc over every pixel, as a lens does.", R::Blur,
        VITREL_ONE_IMAGE, {length("inputRadius", 8, "How far it blurs", 0)}},
    {"CIConstantColorGenerator", "Constant Color Generator", "One colour, everywhere.", R::Infinite, {},
        {{"inputColor", K::Color, {1, 0, 0, 1}, "The colour"}}},
    {"CIRadialGradient", "Radial Gradient", "From one colour to the other between two circles about a point.",
        R::Around, {},
        {kCenter, length("inputRadius0", 5, "The circle of the first colour", 0),
            length("inputRadius1", 100, "The circle of the second colour", 0),
            {"inputColor0", K::Color, {1, 1, 1, 1}, "The colour of the first circle"},
            {"inputColor1", K::Color, {0, 0, 0, 1}, "The colour of the second circle"}},
        [](Numbers n, Colors c) { return n[3] >= n[2] ? clearBeyond(n[3], c[1]) : clearBeyond(n[2], c[0]); }},
    {"CIGaussianGradient", "Gaussian Gradient", "From one colour to the other as a bell falls off.", R::Around, {},
        {kCenter, length("inputRadius", 300, "Where the second colour is reached", 0),
            {"inputColor0", K::Color, {1, 1, 1, 1}, "The colour in the middle"},
            {"inputColor1", K::Color, {0, 0, 0, 0}, "The colour outside"}},
        [](Numbers n, Colors c) { return clearBeyond(n[2], c[1]); }},
    {"CILinearGradient", "Linear Gradient", "From one colour to the other along the way between two points.",
        R::Infinite, {},
        {{"inputPoint0", K::Point, {0, 0}, "Where the first colour is"},
            {"inputPoint1", K::Point, {200, 200}, "Where the second colour is"},
            {"inputColor0", K::Color, {1, 1, 1, 1}, "The first colour"},
            {"inputColor1", K::Color, {0, 0, 0, 1}, "The second colour"}}},
    {"CICheckerboardGenerator", "Checkerboard Generator", "Squares of two colours.", R::Infinite, {},
        {{"inputCenter", K::Point, {150, 150}, "A point at which four squares meet"},
            length("inputWidth", 80, "How wide a square is", 0),
            number("inputSharpness", 1, "How sharp its edges are", 0, 1),
            {"inputColor0", K::Color, {1, 1, 1, 1}, "The first colour"},
            {"inputColor1", K::Color, {0, 0, 0, 1}, "The second colour"}}},
    VITREL_PLAIN("CIMaskToAlpha", "Mask to Alpha", "Grey becomes opacity, of white."),
    VITREL_PLAIN("CIColorInvert", "Color Invert", "The opposite of every colour."),
    {"CIColorControls", "Color Controls",
        "Saturation about the grey of a pixel, then brightness added, then contrast about the middle.", R::Same,
        VITREL_ONE_IMAGE,
        {number("inputSaturation", 1, "How much colour: 0 none, 1 as it was", 0),
            number("inputBrightness", 0, "What is added: -1 is black, 1 is white", -1, 1),
            number("inputContrast", 1, "How far apart light and dark are: 1 as they were", 0)}},
    {"CIExposureAdjust", "Exposure Adjust", "More or less light, as a camera lets in.", R::Same, VITREL_ONE_IMAGE,
        {number("inputEV", 0.5, "How many times the light is doubled; below 0, halved")}},
    {"CIGammaAdjust", "Gamma Adjust", "Each channel to a power.", R::Same, VITREL_ONE_IMAGE,
        {number("inputPower", 0.75, "The power: below 1 lighter, above 1 darker", 0)}},
    {"CIHueAdjust", "Hue Adjust", "Turns the hue of every pixel.", R::Same, VITREL_ONE_IMAGE,
        {angle("inputAngle", 0, "How far the hue turns")}},
    {"CIColorMonochrome", "Color Monochrome", "The grey of every pixel, in one colour.", R::Same, VITREL_ONE_IMAGE,
        {number("inputIntensity", 1, "How much of it is mixed in", 0, 1),
            {"inputColor", K::Color, {0.6, 0.45, 0.3, 1}, "The colour of white"}}},
    {"CISepiaTone", "Sepia Tone", "The brown of old photographs.", R::Same, VITREL_ONE_IMAGE,
        {number("inputIntensity", 1, "How much of it is mixed in", 0, 1)}},
    {"CIFalseColor", "False Color", "The grey of every pixel, as a colour between two.", R::Same, VITREL_ONE_IMAGE,
        {{"inputColor0", K::Color, {0.3, 0, 0, 1}, "What black becomes"},
            {"inputColor1", K::Color, {1, 0.9, 0.8, 1}, "What white becomes"}}},
    {"CIPixellate", "Pixellate", "Squares of one colour each, that of their middle.", R::Same, VITREL_ONE_IMAGE,
        {{"inputCenter", K::Point, {150, 150}, "A point at which four squares meet"},
            length("inputScale", 8, "How wide a square is", 1)}},
    {"CIKaleidoscope", "Kaleidoscope", "Sectors about a point, each the mirror image of its neighbour.", R::Infinite,
        VITREL_ONE_IMAGE,
        {kCenter, number("inputCount", 6, "How many sectors", 1),
            angle("inputAngle", 0, "The turn of the middle of the first sector")}},
    {"CIDissolveTransition", "Dissolve Transition", "From one picture to another, all over at once.", R::Union,
        {"inputImage", "inputTargetImage"}, {kTime}},
};

constexpr Filter kBlending[] = {
    {"CIBlendWithMask", "Blend with Mask", "The image where the mask is white, the background where it is black.",
        R::Masked, {"inputImage", "inputBackgroundImage", "inputMaskImage"}, {}},
    VITREL_BLEND("CISourceOverCompositing", "Source Over Compositing", "The image over the background."),
    {"CISourceInCompositing", "Source In Compositing", "The image where the background is.", R::Intersection,
        {"inputImage", "inputBackgroundImage"}, {}},
    {"CISourceOutCompositing", "Source Out Compositing", "The image where the background is not.", R::Same,
        {"inputImage", "inputBackgroundImage"}, {}},
    VITREL_BLEND(
        "CISourceAtopCompositing", "Source Atop Compositing", "The image over the background, and only where that is."),
    VITREL_BLEND("CIAdditionCompositing", "Addition Compositing", "The sum of both, opacity too."),
    VITREL_BLEND("CIMultiplyCompositing", "Multiply Compositing", "The product of both, opacity too."),
    VITREL_BLEND("CIMaximumCompositing", "Maximum Compositing", "The greater of both in each channel, opacity too."),
    VITREL_BLEND("CIMinimumCompositing", "Minimum Compositing", "The lesser of both in each channel, opacity too."),
    VITREL_BLEND("CIMultiplyBlendMode", "Multiply Blend Mode", "The colours multiplied."),
    VITREL_BLEND("CIExclusionBlendMode", "Exclusion Blend Mode", "As Difference, with less contrast."),
    VITREL_BLEND("CIColorBurnBlendMode", "Color Burn Blend Mode", "The background darkened by the image."),
    VITREL_BLEND("CIColorDodgeBlendMode", "Color Dodge Blend Mode", "The background brightened by the image."),
    VITREL_BLEND("CIDarkenBlendMode", "Darken Blend Mode", "The darker of each channel."),
    VITREL_BLEND("CIDifferenceBlendMode", "Difference Blend Mode", "How far the two are apart."),
    VITREL_BLEND("CIHardLightBlendMode", "Hard Light Blend Mode",
        "Multiplied where the image is dark, screened where it is light."),
    VITREL_BLEND("CILightenBlendMode", "Lighten Blend Mode", "The lighter of each channel."),
    VITREL_BLEND("CIOverlayBlendMode", "Overlay Blend Mode",
        "Multiplied where the background is dark, screened where it is light."),
    VITREL_BLEND("CIScreenBlendMode", "Screen Blend Mode", "The opposites of the colours multiplied."),
    VITREL_BLEND("CISoftLightBlendMode", "Soft Light Blend Mode", "The image as a spotlight on the background."),
    VITREL_BLEND("CISubtractBlendMode", "Subtract Blend Mode", "The background less the image."),
    VITREL_BLEND("CIColorBlendMode", "Color Blend Mode", "The colour of the image, the light of the background."),
    VITREL_BLEND("CIHueBlendMode", "Hue Blend Mode", "The hue of the image, the rest of the background."),
    VITREL_BLEND(
        "CILuminosityBlendMode", "Luminosity Blend Mode", "The light of the image, the colour of the background."),
    VITREL_BLEND(
        "CISaturationBlendMode", "Saturation Blend Mode", "The saturation of the image, the rest of the background."),
    VITREL_BLEND("CIDivideBlendMode", "Divide Blend Mode", "The background divided by the image."),
    VITREL_BLEND("CILinearBurnBlendMode", "Linear Burn Blend Mode", "The sum of the colours, less white."),
    VITREL_BLEND("CILinearDodgeBlendMode", "Linear Dodge Blend Mode", "The sum of the colours."),
    VITREL_BLEND(
        "CILinearLightBlendMode", "Linear Light Blend Mode", "The background and twice the image, less white."),
    VITREL_BLEND(
        "CIPinLightBlendMode", "Pin Light Blend Mode", "The darker or the lighter of both, by how light the image is."),
    VITREL_BLEND(
        "CIVividLightBlendMode", "Vivid Light Blend Mode", "Burned where the image is dark, dodged where it is light."),
    {"CIBlendWithAlphaMask", "Blend with Alpha Mask",
        "The image where the mask is opaque, the background where it is clear.", R::Masked,
        {"inputImage", "inputBackgroundImage", "inputMaskImage"}, {}},
};

constexpr Filter kColors[] = {
    {"CIColorClamp", "Color Clamp", "Holds each channel between two ends.", R::Same, VITREL_ONE_IMAGE,
        {{"inputMinComponents", K::Vector, {0, 0, 0, 0}, "The lower end of red (X), green (Y), blue (Z) and alpha (W)"},
            {"inputMaxComponents", K::Vector, {1, 1, 1, 1},
                "The upper end of red (X), green (Y), blue (Z) and alpha (W)"}}},
    {"CIColorMatrix", "Color Matrix", "Each channel becomes a sum of parts of all, and a bias.", R::Same,
        VITREL_ONE_IMAGE,
        {{"inputRVector", K::Vector, {1, 0, 0, 0},
             "How much of red (X), green (Y), blue (Z) and alpha (W) makes the new red"},
            {"inputGVector", K::Vector, {0, 1, 0, 0},
                "How much of red (X), green (Y), blue (Z) and alpha (W) makes the new green"},
            {"inputBVector", K::Vector, {0, 0, 1, 0},
                "How much of red (X), green (Y), blue (Z) and alpha (W) makes the new blue"},
            {"inputAVector", K::Vector, {0, 0, 0, 1},
                "How much of red (X), green (Y), blue (Z) and alpha (W) makes the new alpha"},
            {"inputBiasVector", K::Vector, {0, 0, 0, 0},
                "What is added to red (X), green (Y), blue (Z) and alpha (W)"}}},
    {"CIColorPolynomial", "Color Polynomial", "Each channel c becomes X + Y c + Z c² + W c³ of its coefficients.",
        R::Same, VITREL_ONE_IMAGE,
        {{"inputRedCoefficients", K::Vector, {0, 1, 0, 0}, "The coefficients of red"},
            {"inputGreenCoefficients", K::Vector, {0, 1, 0, 0}, "The coefficients of green"},
            {"inputBlueCoefficients", K::Vector, {0, 1, 0, 0}, "The coefficients of blue"},
            {"inputAlphaCoefficients", K::Vector, {0, 1, 0, 0}, "The coefficients of alpha"}}},
    {"CITemperatureAndTint", "Temperature and Tint", "What was white in one light becomes what is white in another.",
        R::Same, VITREL_ONE_IMAGE,
        {{"inputNeutral", K::Pair, {6500, 0},
             "The light of the picture: its temperature in kelvins (X), its tint towards magenta (Y)"},
            {"inputTargetNeutral", K::Pair, {6500, 0},
                "The light that it shall have: its temperature in kelvins (X), its tint towards magenta (Y)"}}},
    {"CIToneCurve", "Tone Curve", "Each channel by a smooth curve through five points, from dark to light.", R::Same,
        VITREL_ONE_IMAGE,
        {{"inputPoint0", K::Pair, {0, 0}, "The first point: what comes in (X), what becomes of it (Y)", 0, 1},
            {"inputPoint1", K::Pair, {0.25, 0.25}, "The second point: what comes in (X), what becomes of it (Y)", 0, 1},
            {"inputPoint2", K::Pair, {0.5, 0.5}, "The third point: what comes in (X), what becomes of it (Y)", 0, 1},
            {"inputPoint3", K::Pair, {0.75, 0.75}, "The fourth point: what comes in (X), what becomes of it (Y)", 0, 1},
            {"inputPoint4", K::Pair, {1, 1}, "The last point: what comes in (X), what becomes of it (Y)", 0, 1}}},
    {"CIVibrance", "Vibrance", "More colour where there is little.", R::Same, VITREL_ONE_IMAGE,
        {number("inputAmount", 0, "How much; below 0, less colour", -1, 1)}},
    {"CIWhitePointAdjust", "White Point Adjust", "What was white becomes a colour, and all else with it.", R::Same,
        VITREL_ONE_IMAGE, {{"inputColor", K::Color, {1, 1, 1, 1}, "What white becomes"}}},
    {"CIColorPosterize", "Color Posterize", "A few steps of each channel.", R::Same, VITREL_ONE_IMAGE,
        {number("inputLevels", 6, "How many steps", 2)}},
    {"CIColorMap", "Color Map", "The grey of every pixel picks a colour of a gradient.", R::Same,
        {"inputImage", "inputGradientImage"}, {}},
    {"CIVignette", "Vignette", "Darker towards the edges.", R::Same, VITREL_ONE_IMAGE,
        {number("inputRadius", 1, "How far from the middle, in halves of the longer side", 0),
            number("inputIntensity", 0, "How dark it becomes; below 0, light")}},
    {"CIVignetteEffect", "Vignette Effect", "Darker beyond a circle.", R::Same, VITREL_ONE_IMAGE,
        {kCenter, length("inputRadius", 150, "The circle", 0), number("inputIntensity", 1, "How dark it becomes", 0, 1),
            number("inputFalloff", 0.5, "How softly, as a part of the radius", 0, 1)}},
    {"CIHighlightShadowAdjust", "Highlight Shadow Adjust", "Shadows become lighter, highlights darker.", R::Same,
        VITREL_ONE_IMAGE,
        {length("inputRadius", 0, "Without effect here"),
            number("inputShadowAmount", 0, "How much lighter shadows become; below 0, darker", -1, 1),
            number("inputHighlightAmount", 1, "How much is left of the highlights", 0, 1)}},
    VITREL_PLAIN("CILinearToSRGBToneCurve", "Linear to sRGB Tone Curve", "From linear light to sRGB."),
    VITREL_PLAIN("CISRGBToneCurveToLinear", "sRGB Tone Curve to Linear", "From sRGB to linear light."),
    VITREL_PLAIN("CIMaximumComponent", "Maximum Component", "The grey of the strongest channel."),
    VITREL_PLAIN("CIMinimumComponent", "Minimum Component", "The grey of the weakest channel."),
    VITREL_PLAIN("CIPhotoEffectChrome", "Photo Effect Chrome", "More colour and more contrast."),
    VITREL_PLAIN("CIPhotoEffectFade", "Photo Effect Fade", "Less colour, and black that is none."),
    VITREL_PLAIN("CIPhotoEffectInstant", "Photo Effect Instant", "Warm, with soft blacks."),
    VITREL_PLAIN("CIPhotoEffectMono", "Photo Effect Mono", "Grey."),
    VITREL_PLAIN("CIPhotoEffectNoir", "Photo Effect Noir", "Grey, with more contrast, and dark."),
    VITREL_PLAIN("CIPhotoEffectProcess", "Photo Effect Process", "Cool."),
    VITREL_PLAIN("CIPhotoEffectTonal", "Photo Effect Tonal", "Grey, with less contrast."),
    VITREL_PLAIN("CIPhotoEffectTransfer", "Photo Effect Transfer", "Warm."),
};

} // namespace

FilterGroup commonFilters()
{
    return {"Filters: common ones", kCommon};
}
FilterGroup blendingFilters()
{
    return {"Filters: blending", kBlending};
}
FilterGroup colorsFilters()
{
    return {"Filters: colours", kColors};
}

} // namespace vitrel::qc
