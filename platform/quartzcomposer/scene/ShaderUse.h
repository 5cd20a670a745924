#pragma once

#include "platform/quartzcomposer/scene/Image.h"
#include "platform/quartzcomposer/scene/Matrix.h"
#include "platform/quartzcomposer/shading/Shader.h"

namespace vitrel::qc {

// An author's program with what its uniforms have now, in their order.
struct ShaderUse {
    struct Value {
        std::array<double, 4> numbers{};
        ImageRef image;
    };
    std::shared_ptr<const Shader> shader;
    std::vector<Value> values;
};

// A corner as such a program gets it: in the coordinates of its own node, its size included.
struct ShaderVertex {
    float position[4];
    float texture[2];
    float color[4]; // premultiplied
    float normal[3];
};

// What surrounds the node, in the coordinates of the eye.
struct ShaderSurroundings {
    Matrix modelView, projection;
    std::array<float, 9> normal{}; // inverse transpose of the matrix's upper left, column by column
    struct Light {
        std::array<float, 4> position{}, color{};
        float attenuation = 0; // with the square of the distance
    };
    std::vector<Light> lights;
    std::array<float, 4> ambient{0.2f, 0.2f, 0.2f, 1};
    float specular = 0, shininess = 0;
    std::array<float, 4> fogColor{};
    float fogDensity = 1, fogStart = 0, fogEnd = 1;
};

} // namespace vitrel::qc
