#include "platform/quartzcomposer/drawing/FilterShaders.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/drawing/Program.h"
#include "platform/quartzcomposer/shading/Kernel.h"
#include "platform/quartzcomposer/shading/Shader.h"

#include <gmock/gmock.h>

namespace vitrel::qc {

namespace {

// A body of "kernel vec4 f(sampler s, float x, vec2 v)".
std::string kernelOf(const std::string& body)
{
    return "kernel vec4 f(sampler s, float x, vec2 v) { " + body + " }";
}

std::string times(int count, const std::string& text)
{
    std::string out;
    for (int k = 0; k < count; ++k)
        out += text;
    return out;
}

bool compiles(const std::string& vertex, const std::string& fragment)
{
    return !GLContext::current() || Program(vertex, fragment).valid();
}

} // namespace

// What authors of the older language write, and GLSL 3.30 refuses as it stands.
TEST(Shading, KernelsBecomeProgramsThatCompile)
{
    for (const std::string& source : {kernelOf("vec4 p = 0; int n = mod(x, 4.0); v += x; p = n; return p * v.x;"),
             std::string("kernel vec4 main(sampler image, float mix, __color input) { return mix(sample(image, "
                         "samplerCoord(image)), input, mix); }"),
             std::string("vec2 texture(sampler s) { return samplerSize(s); } kernel float half(sampler a, sampler b) { "
                         "return texture(b).x; }"),
             std::string(
                 "const float n = 3.0; kernel vec2 warp(sampler s) { vec2 p = destCoord(); for (float i = 0.0; i "
                 "< n; i += 1.0) p.x += i; return p; }"),
             std::string("void set(out vec4 c, in float v) { if (v > 0.0) c.rg = vec2(v); } kernel vec4 k(__sample p, "
                         "vec3 q) { vec4 c; set(c, q[1]); return c + p; }"),
             kernelOf("return compare(vec4(x), unpremultiply(sample(s, v)), vec4(cossin(x), sincos_(x)));")}) {
        const auto kernels = translatedKernels(source);
        ASSERT_TRUE(kernels) << source << ": " << kernels.error().reason;
        EXPECT_TRUE(compiles(filterVertexShader(), kernels->front()->fragment)) << kernels->front()->fragment;
    }
    const auto named
        = translatedKernels("kernel vec4 a(vec3 One, __color c) { return c; } kernel vec4 b(__table sampler "
                            "t) { return sample(t, vec2(0)) + sample(t, vec2(1)); }");
    ASSERT_EQ(named->size(), 2u);
    EXPECT_EQ(named->front()->parameters[0].name, "One");
    EXPECT_EQ(named->front()->parameters[1].type, KernelParameter::Color);
    EXPECT_EQ(named->back()->images(), 1);
    EXPECT_EQ(named->back()->reads, 2);
}

TEST(Shading, KernelsWithoutBoundsAreRefused)
{
    const std::string twice = "float f0(float x) { return x * 2.0; } " + [] {
        std::string all;
        for (int k = 1; k < 20; ++k)
            all += "float f" + std::to_string(k) + "(float x) { return "
                + times(4, "f" + std::to_string(k - 1) + "(x) + ") + "x; } ";
        return all;
    }();
    for (const std::string& source : {std::string("kernel"), std::string("vec4 f() { return vec4(0); }"),
             std::string("#define x\n") + kernelOf("return vec4(0);"), kernelOf("while (x > 0.0) { } return vec4(0);"),
             kernelOf("for (float i = 0.0; i < x; i += 1.0) { } return vec4(0);"),
             kernelOf("for (int i = 0; i < 10; ++i) { i -= 1; } return vec4(0);"),
             kernelOf("for (int i = 0; i < 70; ++i) for (int j = 0; j < 70; ++j) { } return vec4(0);"),
             kernelOf("for (int i = 0; i < 1025; ++i) { v += sample(s, v).xy; } return vec4(0);"),
             kernelOf("for (int i = 0; i > 10; --i) { } for (int i = 0; i < 5; i += 0) { } return vec4(0);"),
             kernelOf("return g(x); } vec4 g(float x) { return vec4(x);"), kernelOf("return vec4(gl_FragCoord.x);"),
             std::string("float g(float x) { return g(x); } ") + kernelOf("return vec4(g(x));"),
             twice + kernelOf("return vec4(f19(x));"), kernelOf("float a[3]; return vec4(0);"),
             kernelOf("return vec4(" + times(70, "(") + "x" + times(70, ")") + ");"),
             kernelOf("return vec4(x" + times(2000, " + x") + ");"), kernelOf(times(30'000, ";")),
             kernelOf("return x;") + std::string(70'000, ' '), kernelOf("v[4] = 1.0; return vec4(0);"),
             kernelOf("int n = 99999999999; return vec4(n);"), kernelOf("return vec4(0);") + '\0'})
        EXPECT_FALSE(translatedKernels(source)) << source.substr(0, 120);
    EXPECT_TRUE(
        translatedKernels(kernelOf("for (int i = 0; i < 64; ++i) for (int j = 64; j > 0; j--) { } return vec4(0);")));
}

TEST(Shading, ShadersBecomeProgramsThatCompile)
{
    struct Pair {
        std::string vertex, fragment, uniforms;
    };
    for (const Pair& pair : {Pair{"", "", ""},
             {"varying float a, b[2]; void main() { gl_Position = ftransform(); a = gl_Vertex.x; gl_TexCoord[3] = "
              "gl_TextureMatrix[0] * gl_MultiTexCoord0; }",
                 "varying float a, b[2]; varying vec3 lonely; void main() { gl_FragColor = vec4(a, b[1], lonely.x, "
                 "gl_TexCoord[3].x); gl_FragColor.a = 1.0; }",
                 ""},
             {"uniform float amount; void main() { gl_Position = gl_ModelViewProjectionMatrixInverse * gl_Vertex; }",
                 "uniform float amount, b; uniform sampler2D texture, input; uniform vec3 v = vec3(1, 2.5, 3); uniform "
                 "mat4 m; void main() { gl_FragColor = texture2D(texture, gl_TexCoord[0].st) * amount + m[0] + "
                 "texture2D(input, v.xy); }",
                 "amount b texture input v "},
             {"",
                 "#version 110\n#define N 3\n#define TWICE(x) ((x) * (x))\n#if N > 2 && !defined(M)\nvoid main() { for "
                 "(int i = 0; i < N; i++) if (i == 1) continue; else gl_FragColor += vec4(TWICE(float(i))); do "
                 "gl_FragColor.r += 1.0; while (gl_FragColor.r < 2.0); }\n#else\nbroken\n#endif",
                 ""},
             {"void main() { gl_FrontColor = gl_LightSource[0].diffuse * gl_FrontMaterial.diffuse + "
              "gl_FrontLightProduct[1].specular + gl_FrontLightModelProduct.sceneColor; gl_Position = gl_Vertex; }",
                 "float noise(vec2 p) { return noise1(p) + noise3(p).y + noise4(p.x).w; } void main() { float s, t[2]; "
                 "gl_FragColor = gl_Color * noise(gl_FragCoord.xy) + s + t[1] + gl_Fog.color + dFdy(s); if (s > 1.0) "
                 "discard; gl_FragData[0].a = 1.0; }",
                 ""}}) {
        const auto shader = translatedShader(pair.vertex, pair.fragment);
        ASSERT_TRUE(shader) << shader.error().reason << pair.fragment;
        EXPECT_TRUE(compiles(shader->vertex, shader->fragment)) << shader->vertex << shader->fragment;
        std::string names;
        for (const ShaderUniform& uniform : shader->uniforms) {
            names += uniform.name + " ";
            if (uniform.name == "v") {
                EXPECT_THAT(uniform.usual, testing::ElementsAre(1, 2.5, 3, 0));
            }
        }
        EXPECT_EQ(names, pair.uniforms);
    }
    const auto looped = translatedShader("", "#define FOREVER for (;;)\nvoid main() { FOREVER while (true) ; }");
    ASSERT_TRUE(looped);
    EXPECT_NE(
        looped->fragment.find("for (; ; ) { if (--qc_left < 0) break; while (true ) { if (--qc_left < 0) break; "),
        std::string::npos);
}

TEST(Shading, ShadersWithoutBoundsAreRefused)
{
    std::string laughs = "#define m0 1.0 +\n", calls = "float f0() { return 1.0; } ";
    for (int k = 1; k < 30; ++k) {
        const std::string n = std::to_string(k), before = std::to_string(k - 1);
        laughs += "#define m" + n + " m" + before + " m" + before + "\n";
        calls += "float f" + n + "() { return f" + before + "() + f" + before + "(); } ";
    }
    for (const std::string& source : {std::string("void f() { }"), std::string("void main() { } }"),
             laughs + "void main() { float a = m29 1.0; }", calls + "void main() { f29(); }",
             std::string("float f(); float g() { return f(); } float f() { return g(); } void main() { f(); }"),
             std::string("#define F main\nvoid main() { F(); }"), std::string("#include <x>\nvoid main() { }"),
             std::string("void main() { gl_Nothing = 1; }"), std::string("void main() { int a__b; }"),
             std::string("struct S { float a; }; void main() { S s; }"), std::string("#if 1\nvoid main() { }"),
             "void main() { " + times(70, "{") + times(70, "}") + "}",
             "void main() { " + times(300, "if (true) ; else ") + "; }", times(20, "uniform sampler2D a; ") + [] {
                 std::string many;
                 for (int k = 0; k < 16; ++k)
                     many += "uniform sampler2D s" + std::to_string(k) + "; ";
                 return many + "void main() { }";
             }()})
        EXPECT_FALSE(translatedShader("", source)) << source.substr(0, 120);
}

} // namespace vitrel::qc
