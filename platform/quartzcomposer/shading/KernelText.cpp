// What kernels find there: their built-in functions, said in GLSL 3.30.
#include "platform/quartzcomposer/shading/Kernel.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

struct Function {
    std::string_view name, becomes;
};

constexpr Function kFunctions[] = {{"sample", "qc_sample"}, {"samplerCoord", "qc_samplerCoord"},
    {"samplerTransform", "qc_samplerTransform"}, {"destCoord", "qc_destCoord"}, {"samplerExtent", "qc_samplerExtent"},
    {"samplerOrigin", "qc_samplerOrigin"}, {"samplerSize", "qc_samplerSize"}, {"premultiply", "qc_premultiply"},
    {"unpremultiply", "qc_unpremultiply"}, {"compare", "qc_compare"}, {"cossin", "qc_cossin"}, {"sincos", "qc_sincos"},
    {"cossin_", "qc_cossin"}, {"sincos_", "qc_sincos"}, {"cos_", "cos"}, {"sin_", "sin"}, {"tan_", "tan"}};

constexpr std::string_view kPlain[] = {"radians", "degrees", "sin", "cos", "tan", "asin", "acos", "atan", "pow", "exp",
    "log", "exp2", "log2", "sqrt", "inversesqrt", "abs", "sign", "floor", "ceil", "fract", "mod", "min", "max", "clamp",
    "mix", "step", "smoothstep", "length", "distance", "dot", "cross", "normalize", "faceforward", "reflect",
    "lessThan", "lessThanEqual", "greaterThan", "greaterThanEqual", "equal", "notEqual", "any", "all", "not"};

// Read at a level that is named: in a branch that not all pixels take, another would be undefined. A place that is no
// number is outside.
constexpr const char* kPixel = R"(
vec2 qc_here;
vec4 qc_pixel(sampler2D s, vec4 e, ivec2 mode, vec2 p) {
    vec2 size = vec2(textureSize(s, 0)), t = (p - e.xy) / max(e.zw, vec2(1e-6));
    if (mode.x == 1) t = clamp(t, 0.5 / size, 1.0 - 0.5 / size);
    if (!(t.x >= 0.0 && t.y >= 0.0 && t.x <= 1.0 && t.y <= 1.0)) return vec4(0.0);
    if (mode.y == 0) t = (min(floor(t * size), size - 1.0) + 0.5) / size;
    return textureLod(s, vec2(t.x, 1.0 - t.y), 0.0);
}
)";

constexpr const char* kHelpers = R"(
vec2 qc_destCoord() { return qc_here; }
vec2 qc_samplerCoord(int k) { return qc_here; }
vec2 qc_samplerTransform(int k, vec2 p) { return p; }
vec2 qc_samplerOrigin(int k) { return qc_samplerExtent(k).xy; }
vec2 qc_samplerSize(int k) { return qc_samplerExtent(k).zw; }
vec4 qc_premultiply(vec4 c) { return vec4(c.rgb * c.a, c.a); }
vec4 qc_unpremultiply(vec4 c) { return c.a == 0.0 ? c : vec4(c.rgb / c.a, c.a); }
float qc_compare(float x, float y, float z) { return x < 0.0 ? y : z; }
vec2 qc_compare(vec2 x, vec2 y, vec2 z) { return mix(z, y, lessThan(x, vec2(0.0))); }
vec3 qc_compare(vec3 x, vec3 y, vec3 z) { return mix(z, y, lessThan(x, vec3(0.0))); }
vec4 qc_compare(vec4 x, vec4 y, vec4 z) { return mix(z, y, lessThan(x, vec4(0.0))); }
vec2 qc_cossin(float a) { return vec2(cos(a), sin(a)); }
vec2 qc_sincos(float a) { return vec2(sin(a), cos(a)); }
vec4 qc_sound(vec4 c) {
    bvec4 odd = isnan(c), endless = isinf(c);
    return vec4(odd.x || endless.x ? 0.0 : c.x, odd.y || endless.y ? 0.0 : c.y, odd.z || endless.z ? 0.0 : c.z,
        odd.w || endless.w ? 0.0 : c.w);
}
)";

} // namespace

std::string kernelPrelude(int images)
{
    std::string uniforms = "out vec4 result; in vec2 place; uniform vec4 covers;\n", sample, extent;
    for (int k = 0; k < images; ++k) {
        const std::string n = std::to_string(k);
        uniforms.append("uniform sampler2D image").append(n).append("; uniform vec4 extent").append(n);
        uniforms.append("; uniform ivec2 mode").append(n).append(";\n");
        sample.append("if (k == ").append(n).append(") return qc_pixel(image").append(n).append(", extent").append(n);
        sample.append(", mode").append(n).append(", p); ");
        extent.append("if (k == ").append(n).append(") return extent").append(n).append("; ");
    }
    return uniforms + kPixel + "vec4 qc_sample(int k, vec2 p) { " + sample + "return vec4(0.0); }\n"
        + "vec4 qc_samplerExtent(int k) { " + extent + "return vec4(0.0); }" + kHelpers;
}

std::string_view kernelFunction(std::string_view name)
{
    for (const Function& function : kFunctions) {
        if (function.name == name)
            return function.becomes;
    }
    const auto* found = std::find(std::begin(kPlain), std::end(kPlain), name);
    return found != std::end(kPlain) ? *found : std::string_view();
}

} // namespace vitrel::qc
