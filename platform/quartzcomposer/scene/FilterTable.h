#pragma once

#include "platform/quartzcomposer/scene/Filters.h"

#include <algorithm>
#include <cmath>

// What the rows of the table are written with.
namespace vitrel::qc {

using R = ExtentRule;
using K = ParameterKind;
using Numbers = std::span<const double>;
using Colors = std::span<const NSColor>;
constexpr double kEndless = FilterParameter::kEndless;

#define VITREL_ONE_IMAGE                                                                                               \
    {                                                                                                                  \
        "inputImage"                                                                                                   \
    }
#define VITREL_BLEND(name, title, sentence)                                                                            \
    {                                                                                                                  \
        name, title, sentence, R::Union, {"inputImage", "inputBackgroundImage"}, { }                                   \
    }
#define VITREL_PLAIN(name, title, sentence)                                                                            \
    {                                                                                                                  \
        name, title, sentence, R::Same, VITREL_ONE_IMAGE, { }                                                          \
    }

constexpr FilterParameter length(
    const char* key, double usual, const char* meaning, double least = -kEndless, double most = kEndless)
{
    return {key, K::Length, {usual}, meaning, least, most};
}
constexpr FilterParameter number(
    const char* key, double usual, const char* meaning, double least = -kEndless, double most = kEndless)
{
    return {key, K::Number, {usual}, meaning, least, most};
}
constexpr FilterParameter angle(const char* key, double degrees, const char* meaning)
{
    return {key, K::Angle, {degrees}, meaning};
}

// What many have.
constexpr FilterParameter kCenter{"inputCenter", K::Point, {150, 150}, "The point that it is about"};
constexpr FilterParameter kTime = number("inputTime", 0, "How far the change has gone", 0, 1);
constexpr FilterParameter kWhole{"inputExtent", K::Rectangle, {0, 0, 300, 300}, "The rectangle that counts"};
constexpr FilterParameter kAngle = angle("inputAngle", 0, "The turn of the pattern");

FilterGroup commonFilters();
FilterGroup blendingFilters();
FilterGroup colorsFilters();
FilterGroup blursFilters();
FilterGroup screensFilters();
FilterGroup distortionsFilters();
FilterGroup generatorsFilters();
FilterGroup tilesFilters();
FilterGroup transitionsFilters();
FilterGroup areasFilters();

} // namespace vitrel::qc
