// What shaders of the old language find there, said in GLSL 3.30.
#include "platform/quartzcomposer/shading/Shader.h"

#include <utility>

namespace vitrel::qc {

namespace {

struct Word {
    std::string_view name, inVertex, inFragment;
};

// Empty: not there.
constexpr Word kWords[] = {{"gl_Vertex", "qc_vertex", ""}, {"gl_Normal", "qc_normal", ""},
    {"gl_Color", "qc_color", "qc_frontColor"}, {"gl_SecondaryColor", "vec4(0.0)", "qc_frontSecondary"},
    {"gl_MultiTexCoord0", "vec4(qc_texture, 0.0, 1.0)", ""}, {"gl_MultiTexCoord1", "vec4(0.0)", ""},
    {"gl_MultiTexCoord2", "vec4(0.0)", ""}, {"gl_MultiTexCoord3", "vec4(0.0)", ""},
    {"gl_MultiTexCoord4", "vec4(0.0)", ""}, {"gl_MultiTexCoord5", "vec4(0.0)", ""},
    {"gl_MultiTexCoord6", "vec4(0.0)", ""}, {"gl_MultiTexCoord7", "vec4(0.0)", ""}, {"gl_FogCoord", "0.0", ""},
    {"gl_FrontColor", "qc_frontColor", ""}, {"gl_BackColor", "qc_backColor", ""},
    {"gl_FrontSecondaryColor", "qc_frontSecondary", ""}, {"gl_BackSecondaryColor", "qc_backSecondary", ""},
    {"gl_FogFragCoord", "qc_fogPlace", "qc_fogPlace"}, {"gl_TexCoord", "qc_coordinates", "qc_coordinates"},
    {"gl_ClipVertex", "qc_clipVertex", ""}, {"gl_Position", "gl_Position", ""}, {"gl_PointSize", "gl_PointSize", ""},
    {"gl_FragColor", "", "qc_fragColor"}, {"gl_FragDepth", "", "gl_FragDepth"}, {"gl_FragCoord", "", "qc_fragPlace"},
    {"gl_FrontFacing", "", "gl_FrontFacing"}, {"gl_PointCoord", "", "gl_PointCoord"},
    {"ftransform", "qc_ftransform", ""}, {"gl_ModelViewMatrix", "qc_modelView", "qc_modelView"},
    {"gl_ModelViewMatrixInverse", "inverse(qc_modelView)", "inverse(qc_modelView)"},
    {"gl_ModelViewMatrixTranspose", "transpose(qc_modelView)", "transpose(qc_modelView)"},
    {"gl_ModelViewMatrixInverseTranspose", "transpose(inverse(qc_modelView))", "transpose(inverse(qc_modelView))"},
    {"gl_ProjectionMatrix", "qc_projection", "qc_projection"},
    {"gl_ProjectionMatrixInverse", "inverse(qc_projection)", "inverse(qc_projection)"},
    {"gl_ProjectionMatrixTranspose", "transpose(qc_projection)", "transpose(qc_projection)"},
    {"gl_ProjectionMatrixInverseTranspose", "transpose(inverse(qc_projection))", "transpose(inverse(qc_projection))"},
    {"gl_ModelViewProjectionMatrix", "(qc_projection * qc_modelView)", "(qc_projection * qc_modelView)"},
    {"gl_ModelViewProjectionMatrixInverse", "inverse(qc_projection * qc_modelView)",
        "inverse(qc_projection * qc_modelView)"},
    {"gl_ModelViewProjectionMatrixTranspose", "transpose(qc_projection * qc_modelView)",
        "transpose(qc_projection * qc_modelView)"},
    {"gl_ModelViewProjectionMatrixInverseTranspose", "transpose(inverse(qc_projection * qc_modelView))",
        "transpose(inverse(qc_projection * qc_modelView))"},
    {"gl_NormalMatrix", "qc_normalMatrix", "qc_normalMatrix"},
    {"gl_TextureMatrix", "qc_textureMatrix", "qc_textureMatrix"},
    {"gl_TextureMatrixInverse", "qc_textureMatrix", "qc_textureMatrix"},
    {"gl_TextureMatrixTranspose", "qc_textureMatrix", "qc_textureMatrix"},
    {"gl_TextureMatrixInverseTranspose", "qc_textureMatrix", "qc_textureMatrix"}, {"gl_NormalScale", "1.0", "1.0"},
    {"gl_LightSource", "qc_light", "qc_light"}, {"gl_LightModel", "qc_lightModel", "qc_lightModel"},
    {"gl_FrontMaterial", "qc_material", "qc_material"}, {"gl_BackMaterial", "qc_material", "qc_material"},
    {"gl_FrontLightProduct", "qc_product", "qc_product"}, {"gl_BackLightProduct", "qc_product", "qc_product"},
    {"gl_FrontLightModelProduct", "qc_modelProduct", "qc_modelProduct"},
    {"gl_BackLightModelProduct", "qc_modelProduct", "qc_modelProduct"}, {"gl_Fog", "qc_fog", "qc_fog"},
    {"gl_MaxLights", "8", "8"}, {"gl_MaxTextureUnits", "8", "8"}, {"gl_MaxTextureCoords", "8", "8"},
    {"gl_MaxTextureImageUnits", "16", "16"}, {"gl_MaxClipPlanes", "6", "6"}, {"gl_MaxDrawBuffers", "1", "1"},
    {"texture2D", "qc_texture2D", "qc_texture2D"}, {"texture2DProj", "qc_texture2DProj", "qc_texture2DProj"},
    {"texture2DLod", "qc_texture2DLod", "qc_texture2DLod"}, {"texture2DRect", "qc_textureRect", "qc_textureRect"},
    {"sampler2DRect", "sampler2D", "sampler2D"}, {"noise1", "qc_noise1", "qc_noise1"},
    {"noise2", "qc_noise2", "qc_noise2"}, {"noise3", "qc_noise3", "qc_noise3"}, {"noise4", "qc_noise4", "qc_noise4"},
    // Upside down the other way.
    {"dFdy", " -dFdy", " -dFdy"}};

// Parts that come with the words that need them.
constexpr std::pair<const char*, const char*> kParts[] = {
    {"qc_textureMatrix",
        "const mat4 qc_textureMatrix[8] = mat4[8](mat4(1.0), mat4(1.0), mat4(1.0), mat4(1.0), "
        "mat4(1.0), mat4(1.0), mat4(1.0), mat4(1.0));\n"},
    {"qc_texture2D", R"(vec4 qc_texture2D(sampler2D s, vec2 p) { return texture(s, vec2(p.x, 1.0 - p.y)); }
vec4 qc_texture2D(sampler2D s, vec2 p, float bias) { return qc_texture2D(s, p); }
vec4 qc_texture2DLod(sampler2D s, vec2 p, float level) { return textureLod(s, vec2(p.x, 1.0 - p.y), 0.0); }
vec4 qc_texture2DProj(sampler2D s, vec3 p) { return qc_texture2D(s, p.xy / p.z); }
vec4 qc_texture2DProj(sampler2D s, vec4 p) { return qc_texture2D(s, p.xy / p.w); }
)"},
    {"qc_textureRect", R"(vec4 qc_textureRect(sampler2D s, vec2 p) {
    p /= vec2(textureSize(s, 0));
    return texture(s, vec2(p.x, 1.0 - p.y));
}
)"},
    {"qc_noise",
        R"(float qc_hash(ivec4 p) {
    uvec4 q = uvec4(p) * uvec4(1597334677u, 3812015801u, 2798796415u, 1979697957u);
    uint n = (q.x ^ q.y ^ q.z ^ q.w) * 1597334677u;
    n = (n ^ n >> 15) * 2246822519u;
    return float((n ^ n >> 13) >> 8) / 8388607.5 - 1.0;
}
float qc_noise1(vec4 p) {
    vec4 whole = floor(clamp(p, -1e9, 1e9)), f = p - whole, w = f * f * f * (f * (f * 6.0 - 15.0) + 10.0);
    ivec4 at = ivec4(whole);
    float sum = 0.0;
    for (int k = 0; k < 16; ++k) {
        ivec4 corner = ivec4(k & 1, k >> 1 & 1, k >> 2 & 1, k >> 3);
        vec4 part = mix(1.0 - w, w, vec4(corner));
        sum += part.x * part.y * part.z * part.w * qc_hash(at + corner);
    }
    return sum;
}
float qc_noise1(float p) { return qc_noise1(vec4(p, 0.0, 0.0, 0.0)); }
float qc_noise1(vec2 p) { return qc_noise1(vec4(p, 0.0, 0.0)); }
float qc_noise1(vec3 p) { return qc_noise1(vec4(p, 0.0)); }
)"
        "#define QC_NOISE(T) vec2 qc_noise2(T p) { return vec2(qc_noise1(p), qc_noise1(p + T(17.31))); } "
        "vec3 qc_noise3(T p) { return vec3(qc_noise2(p), qc_noise1(p - T(41.73))); } "
        "vec4 qc_noise4(T p) { return vec4(qc_noise3(p), qc_noise1(p + T(83.57))); }\n"
        R"(QC_NOISE(float) QC_NOISE(vec2) QC_NOISE(vec3) QC_NOISE(vec4)
)"},
    {"qc_light", R"(struct qc_Light {
    vec4 ambient, diffuse, specular, position, halfVector;
    vec3 spotDirection;
    float spotExponent, spotCutoff, spotCosCutoff, constantAttenuation, linearAttenuation, quadraticAttenuation;
};
uniform qc_Light qc_light[8];
struct qc_LightModel { vec4 ambient; };
uniform qc_LightModel qc_lightModel;
)"},
    {"qc_material", R"(struct qc_Material { vec4 emission, ambient, diffuse, specular; float shininess; };
uniform vec2 qc_shine;
qc_Material qc_material;
)"},
    {"qc_product", R"(struct qc_Product { vec4 ambient, diffuse, specular; };
qc_Product qc_product[8];
)"},
    {"qc_modelProduct", R"(struct qc_ModelProduct { vec4 sceneColor; };
qc_ModelProduct qc_modelProduct;
)"},
    {"qc_fog", R"(struct qc_Fog { vec4 color; float density, start, end, scale; };
uniform qc_Fog qc_fog;
)"},
};

bool names(const std::string& text, std::string_view word)
{
    return text.find(word) != std::string::npos;
}

// What the material's parts follow from, ahead of the author's own work.
std::string materials(const std::string& text, const char* color)
{
    std::string out;
    const std::string c = color;
    if (names(text, "qc_material"))
        out += "qc_material = qc_Material(vec4(0.0), " + c + ", " + c + ", vec4(vec3(qc_shine.x), 1.0), qc_shine.y); ";
    if (names(text, "qc_product"))
        out += "for (int k = 0; k < 8; ++k) qc_product[k] = qc_Product(qc_light[k].ambient * " + c
            + ", qc_light[k].diffuse * " + c + ", qc_light[k].specular * vec4(vec3(qc_shine.x), 1.0)); ";
    if (names(text, "qc_modelProduct"))
        out += "qc_modelProduct.sceneColor = qc_lightModel.ambient * " + c + "; ";
    return out;
}

} // namespace

const char* const kUsualVertexShader = "void main() { gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex; "
                                       "gl_FrontColor = gl_Color; gl_TexCoord[0] = gl_MultiTexCoord0; }";
// The uniform has no image of its own, so that it shows the one of what is drawn.
const char* const kUsualFragmentShader
    = "uniform sampler2D qc_own; void main() { gl_FragColor = gl_Color * texture2D(qc_own, gl_TexCoord[0].xy); }";

std::string_view shaderWord(std::string_view word, bool isVertex)
{
    for (const Word& known : kWords) {
        if (known.name == word)
            return isVertex ? known.inVertex : known.inFragment;
    }
    return {};
}

std::string shaderPrelude(const std::string& text, bool isVertex, int coordinates)
{
    const std::string way = isVertex ? "out" : "in";
    std::string out = isVertex ? "in vec4 qc_vertex; in vec2 qc_texture; in vec4 qc_color; in vec3 qc_normal;\n"
                                 "vec4 qc_backColor, qc_backSecondary, qc_clipVertex;\n"
                               : "out vec4 qc_fragColor; vec4 qc_fragPlace;\n";
    out += way + " vec4 qc_frontColor; " + way + " vec4 qc_frontSecondary; " + way + " float qc_fogPlace; " + way
        + " vec4 qc_coordinates[" + std::to_string(coordinates) + "];\n"
        + "uniform mat4 qc_modelView, qc_projection; uniform mat3 qc_normalMatrix; uniform vec3 qc_target; uniform int "
          "qc_loops;\nint qc_left;\n";
    if (isVertex)
        out += "vec4 qc_ftransform() { return qc_projection * (qc_modelView * qc_vertex); }\n";
    const bool lit = names(text, "qc_product") || names(text, "qc_modelProduct");
    for (const auto& [word, part] : kParts) {
        const bool needs = names(text, word) || (lit && std::string_view(word) == "qc_light")
            || (names(text, "qc_product") && std::string_view(word) == "qc_material");
        out += needs ? part : "";
    }
    return out;
}

std::string shaderMain(const std::string& text, bool isVertex, const std::string& zeroed)
{
    std::string out = "void main() { qc_left = qc_loops; ";
    if (isVertex)
        out += "qc_frontColor = qc_backColor = qc_color; qc_frontSecondary = vec4(0.0); qc_fogPlace = 0.0; gl_Position "
               "= "
               "vec4(0.0); for (int k = 0; k < qc_coordinates.length(); ++k) qc_coordinates[k] = vec4(0.0); ";
    else
        out += "qc_fragColor = vec4(0.0); qc_fragPlace = vec4(gl_FragCoord.x * qc_target.x, qc_target.z - "
               "gl_FragCoord.y * qc_target.y, gl_FragCoord.zw); ";
    if (names(text, "gl_FragDepth"))
        out += "gl_FragDepth = gl_FragCoord.z; ";
    out += materials(text, isVertex ? "qc_color" : "qc_frontColor") + zeroed + "qc_main(); ";
    return out + (isVertex ? "gl_Position.y = -gl_Position.y; }\n" : "}\n");
}

} // namespace vitrel::qc
