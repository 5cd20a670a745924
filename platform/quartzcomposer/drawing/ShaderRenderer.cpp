#include "platform/quartzcomposer/drawing/ShaderRenderer.h"

#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>

namespace vitrel::qc {

namespace {

constexpr std::size_t kMaxPrograms = 64;
// Rounds of all loops for a corner or a pixel.
constexpr int kLoops = 8192;
// As for kernels: three draws that take so long are enough.
constexpr std::chrono::milliseconds kSlow{250}, kSlowOnProcessor{2000};
constexpr int kMaxSlow = 3;
// Corners that are sent before the clock is looked at.
constexpr std::size_t kChunk = 3 * 8192, kChunkWithLoops = 3 * 512;
// Strips of the target, likewise, where each pixel may take as long as a thousand.
constexpr int kStripsWithLoops = 32;

std::array<float, 16> floats(const Matrix& matrix)
{
    std::array<float, 16> out{};
    std::transform(
        matrix.m.begin(), matrix.m.end(), out.begin(), [](double number) { return static_cast<float>(number); });
    return out;
}

std::string key(const Shader& shader)
{
    return shader.vertex + '\0' + shader.fragment;
}

} // namespace

ShaderRenderer::ShaderRenderer(Workload& work)
    : work_(work)
    , generation_(GLContext::current() ? GLContext::current()->generation() : 0)
{
    const std::uint32_t pixel = 0xFFFFFFFF;
    white_ = Texture::make(1, 1, &pixel, Texture::Use::View);
    glGenVertexArrays(1, &vertexArray_);
    glBindVertexArray(vertexArray_);
    glGenBuffers(1, &buffer_);
    glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    setVertexAttribute(0, 4, sizeof(ShaderVertex), offsetof(ShaderVertex, position));
    setVertexAttribute(1, 2, sizeof(ShaderVertex), offsetof(ShaderVertex, texture));
    setVertexAttribute(2, 4, sizeof(ShaderVertex), offsetof(ShaderVertex, color));
    setVertexAttribute(3, 3, sizeof(ShaderVertex), offsetof(ShaderVertex, normal));
}

ShaderRenderer::~ShaderRenderer()
{
    const GLContext* context = GLContext::current();
    if (!context || context->generation() != generation_)
        return;
    glDeleteBuffers(1, &buffer_);
    glDeleteVertexArrays(1, &vertexArray_);
}

bool ShaderRenderer::isUsable(const Shader& shader)
{
    auto found = programs_.find(key(shader));
    if (found == programs_.end()) {
        if (programs_.size() >= kMaxPrograms)
            return false;
        found = programs_.emplace(key(shader), Compiled{}).first;
        const auto loops = [](const std::string& text) { return text.find("--qc_left") != text.npos; };
        found->second.program = std::make_unique<Program>(shader.vertex, shader.fragment);
        found->second.cornersLoop = loops(shader.vertex);
        found->second.pixelsLoop = loops(shader.fragment);
        work_.spend(Workload::kPixels); // to look at the clock
    }
    return found->second.program->valid() && found->second.slow < kMaxSlow;
}

void ShaderRenderer::setSurroundings(const Program& program, const ShaderSurroundings& around) const
{
    glUniformMatrix4fv(program.uniform("qc_modelView"), 1, false, floats(around.modelView).data());
    glUniformMatrix4fv(program.uniform("qc_projection"), 1, false, floats(around.projection).data());
    glUniformMatrix3fv(program.uniform("qc_normalMatrix"), 1, false, around.normal.data());
    glUniform4fv(program.uniform("qc_lightModel.ambient"), 1, around.ambient.data());
    glUniform2f(program.uniform("qc_shine"), around.specular, around.shininess);
    for (std::size_t k = 0; k < static_cast<std::size_t>(kMaxLights); ++k) {
        const auto light = k < around.lights.size() ? around.lights[k] : ShaderSurroundings::Light{};
        const std::string name = "qc_light[" + std::to_string(k) + "].";
        if (program.uniform(name + "position") < 0 && program.uniform(name + "diffuse") < 0)
            continue;
        glUniform4fv(program.uniform(name + "position"), 1, light.position.data());
        glUniform4fv(program.uniform(name + "diffuse"), 1, light.color.data());
        glUniform4fv(program.uniform(name + "specular"), 1, light.color.data());
        // Half way between the light and the eye, as for one that is far away.
        const auto& p = light.position;
        const float length = std::max(std::hypot(p[0], p[1], p[2]), 1e-6f);
        glUniform4f(program.uniform(name + "halfVector"), p[0] / length, p[1] / length, p[2] / length + 1, 0);
        glUniform1f(program.uniform(name + "spotCutoff"), 180);
        glUniform1f(program.uniform(name + "spotCosCutoff"), -1);
        glUniform1f(program.uniform(name + "constantAttenuation"), 1);
        glUniform1f(program.uniform(name + "quadraticAttenuation"), light.attenuation);
    }
    glUniform4fv(program.uniform("qc_fog.color"), 1, around.fogColor.data());
    glUniform1f(program.uniform("qc_fog.density"), around.fogDensity);
    glUniform1f(program.uniform("qc_fog.start"), around.fogStart);
    glUniform1f(program.uniform("qc_fog.end"), around.fogEnd);
    const float span = around.fogEnd - around.fogStart;
    glUniform1f(program.uniform("qc_fog.scale"), span != 0 ? 1 / span : 0);
}

void ShaderRenderer::set(const Program& program, const Call& call) const
{
    glUniform1i(program.uniform("qc_loops"), kLoops);
    glUniform3f(program.uniform("qc_target"), call.scaleX, call.scaleY, call.height);
    setSurroundings(program, call.around);
    const auto bind = [](std::size_t unit, const TextureRef& texture) {
        glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(unit));
        glBindTexture(GL_TEXTURE_2D, texture->name());
        for (const GLenum filter : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER})
            glTexParameteri(GL_TEXTURE_2D, filter, GL_LINEAR);
    };
    std::size_t unit = 0;
    bind(unit, call.own ? call.own : white_);
    glUniform1i(program.uniform("qc_own"), 0);
    std::size_t image = 0;
    for (std::size_t k = 0; k < call.use.shader->uniforms.size() && k < call.use.values.size(); ++k) {
        const ShaderUniform& uniform = call.use.shader->uniforms[k];
        const int at = program.uniform(uniform.glsl);
        const auto& n = call.use.values[k].numbers;
        const float v[]
            = {static_cast<float>(n[0]), static_cast<float>(n[1]), static_cast<float>(n[2]), static_cast<float>(n[3])};
        switch (uniform.type) {
        case ShaderUniform::Float:
            glUniform1fv(at, 1, v);
            break;
        case ShaderUniform::Vec2:
            glUniform2fv(at, 1, v);
            break;
        case ShaderUniform::Vec3:
            glUniform3fv(at, 1, v);
            break;
        case ShaderUniform::Vec4:
            glUniform4fv(at, 1, v);
            break;
        case ShaderUniform::Int:
        case ShaderUniform::Bool:
            glUniform1i(at, static_cast<GLint>(n[0]));
            break;
        case ShaderUniform::Image: {
            // One without an image reads what is drawn.
            const TextureRef texture = image < call.images.size() ? call.images[image] : nullptr;
            ++image;
            if (texture)
                bind(++unit, texture);
            glUniform1i(at, texture ? static_cast<GLint>(unit) : 0);
        }
        }
    }
    glActiveTexture(GL_TEXTURE0);
}

void ShaderRenderer::draw(Primitive primitive, std::span<const ShaderVertex> vertices, const Call& call)
{
    const auto found = programs_.find(key(*call.use.shader));
    if (found == programs_.end())
        return;
    const auto begun = std::chrono::steady_clock::now();
    const Program& program = *found->second.program;
    program.use();
    set(program, call);
    glBindVertexArray(vertexArray_);
    glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    const GLenum mode = primitive == Primitive::Triangles ? GL_TRIANGLES
        : primitive == Primitive::Lines                   ? GL_LINES
                                                          : GL_POINTS;
    GLint view[4]{};
    glGetIntegerv(GL_VIEWPORT, view);
    const std::size_t chunk = found->second.cornersLoop ? kChunkWithLoops : kChunk;
    const int rows = std::max(found->second.pixelsLoop ? view[3] / kStripsWithLoops : view[3], 1);
    glEnable(GL_SCISSOR_TEST);
    for (std::size_t from = 0; from < vertices.size() && !work_.isLate(); from += chunk) {
        const auto part = vertices.subspan(from, std::min(chunk, vertices.size() - from));
        glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(part.size_bytes()), part.data(), GL_STREAM_DRAW);
        for (int row = 0; row < view[3] && !work_.isLate(); row += rows) {
            glScissor(0, row, view[2], rows);
            glDrawArrays(mode, 0, static_cast<GLsizei>(part.size()));
            work_.spend(Workload::kPixels); // what a program does with its corners nobody knows: it has to finish
        }
    }
    glDisable(GL_SCISSOR_TEST);
    const bool software = GLContext::current() && GLContext::current()->software();
    if (std::chrono::steady_clock::now() - begun > (software ? kSlowOnProcessor : kSlow))
        ++found->second.slow;
}

} // namespace vitrel::qc
