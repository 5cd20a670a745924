#pragma once

#include "platform/quartzcomposer/shading/Tokens.h"

namespace vitrel::qc {

struct ShaderUniform {
    enum Type { Float, Vec2, Vec3, Vec4, Int, Bool, Image } type = Float;
    std::string name; // as the author has it
    std::string glsl; // as the translated sources have it
    double usual[4] = {0, 0, 0, 0};
};

// A pair of GLSL 1.20 shaders as GLSL 3.30. The vertex shader takes the attributes `qc_vertex` (vec4), `qc_texture`
// (vec2), `qc_color` (premultiplied) and `qc_normal`, the corner's own. Beside the author's uniforms there are
// `qc_modelView`, `qc_projection` (mat4), `qc_normalMatrix` (mat3), `qc_target` (pixels of the target as its author
// sees it over those that it has, x and y; its height), and what ShaderText.cpp says of lights and fog. Pictures are
// drawn upside down.
struct Shader {
    std::vector<ShaderUniform> uniforms; // those that can be ports, in order
    std::string vertex, fragment;
};

inline constexpr std::size_t kMaxShaderImages = 15; // beside the one of what is drawn
inline constexpr int kMaxLights = 8;

// An empty text stands for the usual: places by the matrices; colour times image. An error for what can't be bounded;
// what else is wrong with a source the driver finds.
Result<Shader, ShadingError> translatedShader(std::string_view vertex, std::string_view fragment);

// What a shader's words of the old language become; empty for those that aren't known. `isVertex` tells the stage.
std::string_view shaderWord(std::string_view word, bool isVertex);
// What the translated sources begin with, as far as their text names it; what their `main` does before the author's.
std::string shaderPrelude(const std::string& text, bool isVertex, int coordinates);
std::string shaderMain(const std::string& text, bool isVertex, const std::string& zeroed);
extern const char* const kUsualVertexShader;
extern const char* const kUsualFragmentShader;

} // namespace vitrel::qc
