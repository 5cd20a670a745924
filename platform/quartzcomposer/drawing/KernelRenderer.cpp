#include "platform/quartzcomposer/drawing/KernelRenderer.h"

#include "platform/quartzcomposer/drawing/FilterShaders.h"
#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <chrono>

namespace vitrel::qc {

namespace {

// A compiler takes milliseconds for each.
constexpr std::size_t kMaxPrograms = 64;
// Operations for a picture: beyond, half as many pixels each way; beyond the second, none.
constexpr double kDear = 2e9 * 16, kTooDear = 16e9 * 16;
constexpr double kRead = 16; // operations that reading an image is worth
// A strip of a picture, after which the clock is looked at.
constexpr double kStrip = 1e9;
// Where a graphics card takes longer in three frames, it would keep the desktop waiting. A processor does not.
constexpr std::chrono::milliseconds kSlow{250}, kSlowOnProcessor{2000};
constexpr int kMaxSlow = 3;

} // namespace

KernelRenderer::KernelRenderer(Workload& work)
    : work_(work)
{ }

KernelRenderer::Compiled* KernelRenderer::compiled(const std::string& fragment)
{
    const auto found = programs_.find(fragment);
    if (found != programs_.end())
        return &found->second;
    if (programs_.size() >= kMaxPrograms)
        return nullptr;
    Compiled& made = programs_[fragment];
    made.program = std::make_unique<Program>(filterVertexShader(), fragment);
    work_.spend(Workload::kPixels); // to look at the clock
    return &made;
}

void KernelRenderer::set(const Program& program, const KernelImage& image, const std::vector<TexturePiece>& inputs,
    const Extent& covers) const
{
    const auto place = [&](const std::string& name, const Extent& e) {
        glUniform4f(program.uniform(name), static_cast<float>(e.x), static_cast<float>(e.y),
            static_cast<float>(e.width), static_cast<float>(e.height));
    };
    place("covers", covers);
    for (std::size_t k = 0; k < inputs.size(); ++k) {
        const std::string n = std::to_string(k);
        const KernelImage::Reading reading = k < image.readings.size() ? image.readings[k] : KernelImage::Reading{};
        glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(k));
        glBindTexture(GL_TEXTURE_2D, inputs[k].texture->name());
        for (const GLenum filter : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER})
            glTexParameteri(GL_TEXTURE_2D, filter, reading.smooths ? GL_LINEAR : GL_NEAREST);
        glUniform1i(program.uniform("image" + n), static_cast<GLint>(k));
        glUniform2i(program.uniform("mode" + n), reading.clamps, reading.smooths);
        place("extent" + n, inputs[k].covers);
    }
    std::size_t value = 0;
    for (std::size_t k = 0; k < image.kernel->parameters.size(); ++k) {
        const KernelParameter& parameter = image.kernel->parameters[k];
        if (parameter.isImage() || value >= image.values.size())
            continue;
        const auto& given = image.values[value++];
        const float v[] = {static_cast<float>(given[0]), static_cast<float>(given[1]), static_cast<float>(given[2]),
            static_cast<float>(given[3])};
        const int uniform = program.uniform("p" + std::to_string(k));
        switch (parameter.type) {
        case KernelParameter::Vec2:
            glUniform2fv(uniform, 1, v);
            break;
        case KernelParameter::Vec3:
            glUniform3fv(uniform, 1, v);
            break;
        case KernelParameter::Vec4:
        case KernelParameter::Color:
            glUniform4fv(uniform, 1, v);
            break;
        default:
            glUniform1f(uniform, v[0]);
        }
    }
}

TexturePiece KernelRenderer::run(const KernelImage& image, const std::vector<TexturePiece>& inputs,
    const Extent& covers, int width, int height, Texture::Format format)
{
    const TexturePiece instead = inputs.empty() ? TexturePiece{} : inputs.front();
    const Kernel& kernel = *image.kernel;
    const double each = kernel.work + kernel.reads * kRead + kRead;
    if (each * width * height > kTooDear)
        return instead;
    if (each * width * height > kDear) {
        width = (width + 1) / 2;
        height = (height + 1) / 2;
    }
    Compiled* const compiled = this->compiled(kernel.fragment);
    if (!compiled || !compiled->program->valid())
        return {};
    if (compiled->slow >= kMaxSlow)
        return instead;
    TexturePiece result{Texture::fitting(width, height, format), covers};
    if (!result.texture || work_.isLate())
        return {};
    width = result.texture->width();
    height = result.texture->height();
    const auto begun = std::chrono::steady_clock::now();
    result.texture->framebuffer();
    glViewport(0, 0, width, height);
    for (const GLenum off : {GL_BLEND, GL_DEPTH_TEST, GL_CULL_FACE})
        glDisable(off);
    glColorMask(true, true, true, true);
    compiled->program->use();
    set(*compiled->program, image, inputs, covers);
    const int rows = std::clamp(static_cast<int>(kStrip / (each * width)), 1, height);
    const bool isDear = rows < height;
    if (isDear)
        glEnable(GL_SCISSOR_TEST);
    for (int row = 0; row < height && !work_.isLate(); row += rows) {
        if (isDear)
            glScissor(0, row, width, rows);
        glDrawArrays(GL_TRIANGLES, 0, 3);
        work_.spend(isDear ? Workload::kPixels : each / kRead * width * height);
    }
    glDisable(GL_SCISSOR_TEST);
    glActiveTexture(GL_TEXTURE0);
    const bool software = GLContext::current() && GLContext::current()->software();
    if (isDear && std::chrono::steady_clock::now() - begun > (software ? kSlowOnProcessor : kSlow))
        ++compiled->slow;
    return work_.isLate() ? TexturePiece{} : result;
}

} // namespace vitrel::qc
