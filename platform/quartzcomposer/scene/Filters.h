#pragma once

#include "platform/quartzcomposer/scene/Image.h"

#include <limits>
#include <optional>
#include <span>

namespace vitrel::qc {

enum class ParameterKind {
    Number, // one port, one number
    Angle, // the same, in degrees; radians in a FilteredImage
    Vector, // ports _X, _Y, _Z, _W, four numbers
    Pair, // ports _X and _Y, two numbers
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
    // A phrase for authors, and beyond which values nobody can have wanted it.
    const char* meaning = "";
    double least = -kEndless, most = kEndless;

    static constexpr double kEndless = std::numeric_limits<double>::infinity();
};

enum class ExtentRule {
    Same,
    Union,
    Intersection,
    Infinite,
    Blur,
    Crop,
    Transform,
    Masked, // the second image, and where the first lies under the third
    Around, // as far as `reach` around the point of the first two numbers; everywhere if that is negative
    Grown, // the first image, and `reach` more on every side
    Pixel, // one
    Row, // as wide as the first image or the rectangle that it is cut to, and one pixel high
    Column,
    Corners, // around four points
};

// One filter as compositions use it. `images` are its image inputs in order, `parameters` the others; numbers and
// colours of a FilteredImage stand in this order.
struct Filter {
    const char* name = nullptr;
    const char *title = "", *sentence = ""; // for authors
    ExtentRule rule = ExtentRule::Same;
    const char* images[3] = {nullptr, nullptr, nullptr};
    FilterParameter parameters[8] = {};
    double (*reach)(std::span<const double> numbers, std::span<const NSColor> colors) = nullptr; // pixels
    // The image that the shader has behind its inputs: the first one, blurred by the first number.
    bool wantsBlurred = false;
};

// As pages show them.
struct FilterGroup {
    const char* name = "";
    std::span<const Filter> filters;
};
std::span<const FilterGroup> filterGroups();
const Filter* filterNamed(const std::string& name);

// The lazy result. Null if the filter's first image is missing, unless it is only laid over the second; an absent other
// image counts as nothing.
ImageRef filtered(const Filter& filter, const std::vector<ImageRef>& images, const std::vector<double>& numbers,
    const std::vector<NSColor>& colors);

// The matrix of a transform's seven numbers, as a, b, c, d, tx, ty of x' = a x + c y + tx, y' = b x + d y + ty.
struct Affine {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
};
Affine affineOf(std::span<const double> numbers);

// The projective matrix, by rows, that takes a place in the quadrangle of `corners` (x and y of the top left, top
// right, bottom right and bottom left) to shares of its width and height, from the bottom left. Absent for corners in a
// line.
std::optional<std::vector<double>> sharesOfQuadrangle(std::span<const double> corners);

} // namespace vitrel::qc
