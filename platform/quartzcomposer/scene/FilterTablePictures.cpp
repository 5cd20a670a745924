// Filters that make a picture out of nothing, go from one to another, or bring one down to a few pixels.
#include "platform/quartzcomposer/scene/FilterTable.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

constexpr Filter kGenerators[] = {
    {"CIRandomGenerator", "Random Generator",
        "Four numbers for each pixel that have nothing to do with each other, the same every time.", R::Infinite, {},
        {}},
    {"CIStripesGenerator", "Stripes Generator", "Upright stripes of two colours.", R::Infinite, {},
        {{"inputCenter", K::Point, {150, 150}, "A point at which the first colour begins"},
            length("inputWidth", 80, "How wide a stripe is", 0),
            number("inputSharpness", 1, "How sharp its edges are", 0, 1),
            {"inputColor0", K::Color, {1, 1, 1, 1}, "The first colour"},
            {"inputColor1", K::Color, {0, 0, 0, 1}, "The second colour"}}},
    {"CISmoothLinearGradient", "Smooth Linear Gradient", "As Linear Gradient, and slow at both ends.", R::Infinite, {},
        {{"inputPoint0", K::Point, {0, 0}, "Where the first colour is"},
            {"inputPoint1", K::Point, {200, 200}, "Where the second colour is"},
            {"inputColor0", K::Color, {1, 1, 1, 1}, "The first colour"},
            {"inputColor1", K::Color, {0, 0, 0, 1}, "The second colour"}}},
    {"CICircleGenerator", "Circle Generator", "A disc.", R::Infinite, {},
        {{"inputCenter", K::Point, {400, 400}, "The point that it is about"},
            length("inputRadius", 300, "How large it is", 0), length("inputEdgeBlur", 1, "How soft its edge is", 1),
            {"inputColor", K::Color, {1, 1, 1, 1}, "Its colour"}}},
    {"CISunbeamsGenerator", "Sunbeams Generator", "A sun with rays.", R::Around, {},
        {kCenter, length("inputSunRadius", 40, "How large the disc is", 0),
            number("inputMaxStriationRadius", 2.58, "How long the rays are, in radii of the disc", 0),
            number("inputStriationStrength", 0.5, "How strongly rays and gaps differ", 0, 3),
            number("inputStriationContrast", 1.375, "How sharply rays and gaps part", 0, 5),
            number("inputTime", 0, "Moves the rays"),
            {"inputColor", K::Color, {1, 0.5, 0, 1}, "The colour of the light"}},
        [](Numbers n, Colors) { return std::max(0.0, n[2]) * (1 + std::max(0.0, n[3])) + 1; }},
    {"CILenticularHaloGenerator", "Lenticular Halo Generator",
        "A ring for each of red, green and blue, red outermost, as about a lamp.", R::Around, {},
        {kCenter, length("inputHaloRadius", 70, "Where the rings begin", 0),
            length("inputHaloWidth", 87, "How wide a ring is", 0),
            number("inputHaloOverlap", 0.77, "How far the rings coincide: wholly at 1", 0, 1),
            number("inputStriationStrength", 0.5, "How strongly rays and gaps differ", 0, 3),
            number("inputStriationContrast", 1, "How sharply rays and gaps part", 0, 5),
            number("inputTime", 0, "Moves the rays"),
            {"inputColor", K::Color, {1, 0.9, 0.8, 1}, "How strong the rings of red, green and blue are"}},
        [](Numbers n, Colors) { return std::max(0.0, n[2]) + std::max(0.0, n[3]) * 1.5; }},
    {"CIStarShineGenerator", "Star Shine Generator", "A star with four spikes.", R::Infinite, {},
        {kCenter, length("inputRadius", 50, "How large the star is", 0),
            number("inputCrossScale", 15, "How long the spikes are", 0, 100),
            angle("inputCrossAngle", 34.37746770784939, "The turn of the spikes"),
            number("inputCrossOpacity", -2, "How bright the spikes are, as a power of ten", -8, 0),
            number("inputCrossWidth", 2.5, "How wide the spikes are", 0, 10),
            number("inputEpsilon", -2, "How wide the glow is, as a power of ten", -8, 0),
            {"inputColor", K::Color, {1, 0.8, 0.6, 1}, "The colour of the light"}}},
};

constexpr Filter kTransitions[] = {
    {"CIBarsSwipeTransition", "Bars Swipe Transition", "The picture leaves in bars.", R::Union,
        {"inputImage", "inputTargetImage"},
        {angle("inputAngle", 180, "The way that they leave"), length("inputWidth", 30, "How wide a bar is", 1),
            length("inputBarOffset", 10, "How far apart bars may be on their way, times ten", 0), kTime}},
    {"CICopyMachineTransition", "Copy Machine Transition",
        "A bar of light runs over the picture and leaves the target behind.", R::Union,
        {"inputImage", "inputTargetImage"},
        {kWhole, kTime, angle("inputAngle", 0, "The way that the light goes"),
            length("inputWidth", 200, "How wide the light is", 1),
            number("inputOpacity", 1.3, "How strong the light is", 0),
            {"inputColor", K::Color, {0.6, 1, 0.8, 1}, "The colour of the light"}}},
    {"CIDisintegrateWithMaskTransition", "Disintegrate with Mask Transition",
        "The picture goes first where the mask is dark.", R::Union,
        {"inputImage", "inputTargetImage", "inputMaskImage"},
        {kTime, length("inputShadowRadius", 8, "Without effect here"),
            number("inputShadowDensity", 0.65, "How dark the shadow is", 0, 1),
            {"inputShadowOffset", K::Point, {0, -10}, "Where the shadow falls"}}},
    {"CIFlashTransition", "Flash Transition", "A flash at a point hides the change.", R::Union,
        {"inputImage", "inputTargetImage"},
        {kCenter, kTime, number("inputMaxStriationRadius", 2.58, "Without effect here"),
            number("inputStriationStrength", 0.5, "How strongly rays and gaps differ", 0, 3),
            number("inputStriationContrast", 1.375, "How sharply rays and gaps part", 0, 5),
            number("inputFadeThreshold", 0.85, "How long the flash hides the change", 0, 1),
            {"inputColor", K::Color, {1, 0.8, 0.6, 1}, "The colour of the flash"}}},
    {"CIModTransition", "Mod Transition", "Holes open in a lattice about a point, first at the point.", R::Union,
        {"inputImage", "inputTargetImage"},
        {kCenter, kTime, angle("inputAngle", 114.59155902616465, "The turn of the lattice"),
            length("inputRadius", 150, "How far apart holes are", 1),
            length("inputCompression", 300, "How much later holes open that are far from the point", 1)}},
    {"CIRippleTransition", "Ripple Transition", "A ring spreads from a point and leaves the target behind.", R::Union,
        {"inputImage", "inputTargetImage", "inputShadingImage"},
        {kCenter, kTime, length("inputWidth", 100, "How wide the ring is", 1),
            length("inputScale", 50, "How strongly the ring bends what is beneath it")}},
    {"CISwipeTransition", "Swipe Transition", "An edge runs over the picture and leaves the target behind.", R::Union,
        {"inputImage", "inputTargetImage"},
        {kWhole, kTime, angle("inputAngle", 0, "The way that the edge goes"),
            length("inputWidth", 300, "How wide the edge is", 1),
            number("inputOpacity", 0, "How strong the colour of the edge is", 0, 1),
            {"inputColor", K::Color, {1, 1, 1, 1}, "The colour of the edge"}}},
};

constexpr Filter kAreas[] = {
    {"CIAreaAverage", "Area Average", "The mean of a rectangle, as one pixel.", R::Pixel, VITREL_ONE_IMAGE, {kWhole}},
    {"CIAreaMaximum", "Area Maximum", "The greatest of each channel in a rectangle, as one pixel.", R::Pixel,
        VITREL_ONE_IMAGE, {kWhole}},
    {"CIAreaMinimum", "Area Minimum", "The least of each channel in a rectangle, as one pixel.", R::Pixel,
        VITREL_ONE_IMAGE, {kWhole}},
    {"CIRowAverage", "Row Average", "The mean of every row of a rectangle, one pixel wide.", R::Column,
        VITREL_ONE_IMAGE, {kWhole}},
    {"CIColumnAverage", "Column Average", "The mean of every column of a rectangle, one pixel high.", R::Row,
        VITREL_ONE_IMAGE, {kWhole}},
};

} // namespace

FilterGroup generatorsFilters()
{
    return {"Filters: generators", kGenerators};
}
FilterGroup transitionsFilters()
{
    return {"Filters: transitions", kTransitions};
}
FilterGroup areasFilters()
{
    return {"Filters: what an image comes to", kAreas};
}

} // namespace vitrel::qc
