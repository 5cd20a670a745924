#pragma once

#include "platform/quartzcomposer/shading/Tokens.h"

#include <memory>

namespace vitrel::qc {

struct KernelParameter {
    enum Type {
        Sampler, // an image that the kernel reads where it likes
        Sample, // an image's pixel at the present place
        Float,
        Vec2,
        Vec3,
        Vec4,
        Color, // arrives premultiplied
    } type
        = Float;
    std::string name;

    bool isImage() const { return type == Sampler || type == Sample; }
};

// One routine of an image kernel's source as a fragment shader of GLSL 3.30. It goes with the vertex shader of filters
// and has the uniforms `covers` (the rectangle that is computed: x, y, width, height), for the image number K `imageK`,
// `extentK` (vec4) and `modeK` (ivec2: 1 clamps to the edge, 1 filters linearly), and for the parameter number N that
// is no image `pN`, a float or a vector.
struct Kernel {
    std::string name;
    std::vector<KernelParameter> parameters;
    std::string fragment;
    double work = 0; // operations a pixel, at most; loops and calls counted as often as they run
    double reads = 0; // of images a pixel
    int images() const;
};

inline constexpr int kMaxKernelImages = 8;

// The kernels of a source, in its order. An error for what isn't the language, and for loops, calls and sizes beyond
// the bounds that Kernel.cpp names.
Result<std::vector<std::shared_ptr<const Kernel>>, ShadingError> translatedKernels(std::string_view source);

// The lines that every kernel's fragment shader begins with, for so many images.
std::string kernelPrelude(int images);
// What a built-in function of kernels is called there; empty for a word that names none.
std::string_view kernelFunction(std::string_view name);

} // namespace vitrel::qc
