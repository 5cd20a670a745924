#pragma once

#include "platform/quartzcomposer/scene/Image.h"

#include <span>

namespace vitrel::qc {

enum class ParameterKind {
    Number, // one port, one number
    Length, // the same, in pixels of the image
    Point, // ports _X and _Y, two lengths
    Rectangle, // _X, _Y, _Z (width), _W (height), four lengths
    Color,
    Transform, // _OriginX, _OriginY, _ScaleX, _ScaleY, _Rotate (degrees), _TranslateX, _TranslateY: seven numbers
};

struct FilterParameter {
    const char* key = nullptr;
    ParameterKind kind = ParameterKind::Number;
    double usual[4] = {0, 0, 0, 0};
};

enum class ExtentRule { Same, Union, Intersection, Infinite, Blur, Crop, Transform };

// One filter as compositions use it. `images` are its image inputs in order, `parameters` the others; numbers and
// colours of a FilteredImage stand in this order.
struct Filter {
    const char* name = nullptr;
    ExtentRule rule = ExtentRule::Same;
    const char* images[3] = {nullptr, nullptr, nullptr};
    FilterParameter parameters[6] = {};
};

std::span<const Filter> allFilters();
const Filter* filterNamed(const std::string& name);

// The lazy result. Null if the filter's first image is missing; an absent second image counts as nothing.
ImageRef filtered(const Filter& filter, const std::vector<ImageRef>& images, const std::vector<double>& numbers,
    const std::vector<NSColor>& colors);

// The matrix of a transform's seven numbers, as a, b, c, d, tx, ty of x' = a x + c y + tx, y' = b x + d y + ty.
struct Affine {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
};
Affine affineOf(std::span<const double> numbers);

} // namespace vitrel::qc
