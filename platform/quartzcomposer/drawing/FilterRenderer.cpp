#include "platform/quartzcomposer/drawing/FilterRenderer.h"

#include "platform/quartzcomposer/drawing/FilterShaders.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/scene/Filters.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

constexpr int kMaxSide = 4096; // of a filter's result
constexpr int kMaxChain = 64; // filters upon filters
// Passes for one picture that is shown: results without an end aren't kept, so two inputs of one source double them.
constexpr int kMaxPasses = 512;

// Half the size, each pixel the mean of four.
Bitmap halved(const Bitmap& from)
{
    Bitmap out{std::max(1, from.width / 2), std::max(1, from.height / 2), {}};
    out.pixels.resize(static_cast<std::size_t>(out.width) * static_cast<std::size_t>(out.height));
    const auto at = [&](int x, int y) {
        return from.pixels[static_cast<std::size_t>(std::min(y, from.height - 1)) * static_cast<std::size_t>(from.width)
            + static_cast<std::size_t>(std::min(x, from.width - 1))];
    };
    for (int y = 0; y < out.height; ++y) {
        for (int x = 0; x < out.width; ++x) {
            std::uint32_t even = 0x00020002, odd = 0x00020002; // two channels each, rounded
            for (const std::uint32_t p :
                {at(2 * x, 2 * y), at(2 * x + 1, 2 * y), at(2 * x, 2 * y + 1), at(2 * x + 1, 2 * y + 1)}) {
                even += p & 0x00FF00FF;
                odd += p >> 8 & 0x00FF00FF;
            }
            out.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(out.width) + static_cast<std::size_t>(x)]
                = (even >> 2 & 0x00FF00FF) | (odd >> 2 & 0x00FF00FF) << 8;
        }
    }
    return out;
}

int pixels(double length)
{
    return static_cast<int>(std::clamp(std::ceil(length - 1e-6), 1.0, double(kMaxSide)));
}

bool sameGeneration(const TextureRef& texture)
{
    return texture && GLContext::current() && texture->generation() == GLContext::current()->generation();
}

} // namespace

FilterRenderer::FilterRenderer(Workload& work)
    : work_(work)
    , kernels_(work)
    , generation_(GLContext::current() ? GLContext::current()->generation() : 0)
{
    glGenFramebuffers(1, &framebuffer_);
    glGenVertexArrays(1, &vertexArray_);
}

FilterRenderer::~FilterRenderer()
{
    const GLContext* context = GLContext::current();
    if (!context || context->generation() != generation_)
        return;
    glDeleteFramebuffers(1, &framebuffer_);
    glDeleteVertexArrays(1, &vertexArray_);
}

TextureRef FilterRenderer::texture(const ImageRef& image, int targetWidth, int targetHeight, double texelsPerPixel)
{
    if (image->bitmap()) {
        std::size_t wanted = 0;
        while (texelsPerPixel > 1.7 && wanted < 6) {
            texelsPerPixel /= 2;
            ++wanted;
        }
        return level(image, wanted);
    }
    const Extent& extent = image->extent();
    const Extent wanted = extent.infinite ? Extent{0, 0, double(targetWidth), double(targetHeight), false} : extent;
    passes_ = 0;
    return piece(image, wanted).texture;
}

TextureRef FilterRenderer::level(const ImageRef& image, std::size_t number)
{
    auto levels = std::dynamic_pointer_cast<TextureLevels>(image->realization);
    if (!levels)
        image->realization = levels = std::make_shared<TextureLevels>();
    if (levels->levels.size() <= number)
        levels->levels.resize(number + 1);
    if (!sameGeneration(levels->levels[number])) {
        const auto bitmap = image->bitmap();
        if (work_.isLate())
            return nullptr;
        work_.spend(double(bitmap->width) * bitmap->height * (number ? 2 : 1));
        Bitmap small;
        for (std::size_t k = 0; k < number; ++k)
            small = halved(k == 0 ? *bitmap : small);
        const Bitmap& shown = number ? small : *bitmap;
        levels->levels[number] = Texture::make(shown.width, shown.height, shown.pixels.data());
    }
    return levels->levels[number];
}

FilterRenderer::Piece FilterRenderer::piece(const ImageRef& image, const Extent& wanted)
{
    if (!image || passes_ > kMaxPasses)
        return {};
    const auto* filtered = dynamic_cast<const FilteredImage*>(image.get());
    const auto* kernel = dynamic_cast<const KernelImage*>(image.get());
    if (!filtered && !kernel) {
        if (image->bitmap())
            return {level(image, 0), image->extent()};
        const auto levels = std::dynamic_pointer_cast<TextureLevels>(image->realization);
        const bool there = levels && !levels->levels.empty() && sameGeneration(levels->levels[0]);
        return there ? Piece{levels->levels[0], image->extent()} : Piece{};
    }
    if (depth_ >= kMaxChain)
        return {};
    ++depth_;
    // A finite one is computed whole and kept; an infinite one as far as it is wanted.
    const auto levels = std::dynamic_pointer_cast<TextureLevels>(image->realization);
    Piece result;
    if (!image->extent().infinite && levels && !levels->levels.empty() && sameGeneration(levels->levels[0])) {
        result = {levels->levels[0], image->extent()};
    } else {
        const Extent& part = image->extent().infinite ? wanted : image->extent();
        result = kernel ? this->kernel(*kernel, part) : computed(*filtered, part);
        if (!image->extent().infinite && result.texture) {
            auto kept = std::make_shared<TextureLevels>();
            kept->levels.push_back(result.texture);
            image->realization = kept;
        }
    }
    --depth_;
    return result;
}

FilterRenderer::Piece FilterRenderer::computed(const FilteredImage& image, const Extent& wanted)
{
    if (wanted.empty())
        return {};
    if (image.filter == "CIGaussianBlur" || image.filter == "CIDiscBlur")
        return blurred(image, wanted);
    std::vector<Piece> inputs;
    for (const ImageRef& input : image.inputs) {
        Extent part = wanted;
        if (input && !input->extent().infinite)
            part = input->extent();
        inputs.push_back(piece(input, part));
    }
    std::vector<double> numbers = image.numbers;
    if (image.filter == "CIAffineTransform" || image.filter == "CIAffineClamp") {
        // The shader goes from the result back to the source.
        const Affine t = affineOf(numbers);
        const double det = t.a * t.d - t.b * t.c;
        if (std::fabs(det) < 1e-12)
            return {};
        numbers = {t.d / det, -t.b / det, -t.c / det, t.a / det, t.tx, t.ty};
    }
    return run(
        program(image.filter), inputs, wanted, pixels(wanted.width), pixels(wanted.height), numbers, image.colors);
}

FilterRenderer::Piece FilterRenderer::kernel(const KernelImage& image, const Extent& wanted)
{
    if (wanted.empty())
        return {};
    std::vector<Piece> inputs;
    for (const ImageRef& input : image.inputs) {
        inputs.push_back(piece(input, input && !input->extent().infinite ? input->extent() : wanted));
        if (!inputs.back().texture)
            return {};
    }
    if (work_.isLate() || ++passes_ > kMaxPasses)
        return {};
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    glBindVertexArray(vertexArray_);
    return kernels_.run(image, inputs, wanted, pixels(wanted.width), pixels(wanted.height), format);
}

// In two passes on a copy that is small enough for a few taps to do.
FilterRenderer::Piece FilterRenderer::blurred(const FilteredImage& image, const Extent& wanted)
{
    const double radius = std::clamp(image.numbers[0], 0.0, 1000.0);
    const double sigma = image.filter == "CIDiscBlur" ? radius / 2 : radius; // a disc's spread, softly
    const ImageRef& source = image.inputs[0];
    Piece input = piece(source, source && source->extent().infinite ? grow(wanted, 3 * sigma) : Extent{});
    if (!input.texture)
        return {};
    if (sigma < 0.3)
        return run(program("copy"), {input}, wanted, pixels(wanted.width), pixels(wanted.height), {}, {});
    const double reduction = std::max(1.0, sigma / 2.5);
    for (double done = 1; done * 2 <= reduction; done *= 2) // by halves, so that no pixel is passed over
        input = run(program("copy"), {input}, input.covers, std::max(1, input.texture->width() / 2),
            std::max(1, input.texture->height() / 2), {}, {});
    const int width = pixels(wanted.width / reduction), height = pixels(wanted.height / reduction);
    const Piece across = run(program("blur"), {input}, wanted, width, height, {sigma, 1, 0}, {});
    return run(program("blur"), {across}, wanted, width, height, {sigma, 0, 1}, {});
}

const Program& FilterRenderer::program(const std::string& filter)
{
    auto& slot = programs_[filter];
    if (!slot) {
        slot = std::make_unique<Program>(filterVertexShader(), filterFragmentShader(filter));
        if (!slot->valid())
            slot = std::make_unique<Program>(filterVertexShader(), filterFragmentShader("copy"));
    }
    return *slot;
}

FilterRenderer::Piece FilterRenderer::run(const Program& program, const std::vector<Piece>& inputs,
    const Extent& covers, int width, int height, const std::vector<double>& numbers, const std::vector<NSColor>& colors)
{
    if (work_.isLate() || ++passes_ > kMaxPasses)
        return {};
    Piece result{Texture::make(width, height, nullptr), covers};
    if (!result.texture)
        return {};
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, result.texture->name(), 0);
    glViewport(0, 0, width, height);
    for (const GLenum off : {GL_BLEND, GL_DEPTH_TEST, GL_CULL_FACE, GL_SCISSOR_TEST})
        glDisable(off);
    glColorMask(true, true, true, true);
    program.use();
    const auto place = [](int uniform, const Extent& e) {
        glUniform4f(uniform, static_cast<float>(e.x), static_cast<float>(e.y), static_cast<float>(e.width),
            static_cast<float>(e.height));
    };
    place(program.uniform("covers"), covers);
    for (std::size_t k = 0; k < 3; ++k) {
        const std::string n = std::to_string(k);
        const bool there = k < inputs.size() && inputs[k].texture;
        glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(k));
        glBindTexture(GL_TEXTURE_2D, there ? inputs[k].texture->name() : 0);
        if (there) {
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        }
        glUniform1i(program.uniform("image" + n), static_cast<GLint>(k));
        place(program.uniform("extent" + n), there ? inputs[k].covers : Extent{});
    }
    for (std::size_t k = 0; k < numbers.size(); ++k)
        glUniform1f(program.uniform("n[" + std::to_string(k) + "]"), static_cast<float>(numbers[k]));
    for (std::size_t k = 0; k < colors.size(); ++k) {
        const NSColor& c = colors[k];
        glUniform4f(program.uniform("c[" + std::to_string(k) + "]"), static_cast<float>(c.red * c.alpha),
            static_cast<float>(c.green * c.alpha), static_cast<float>(c.blue * c.alpha), static_cast<float>(c.alpha));
    }
    glBindVertexArray(vertexArray_);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    work_.spend(double(width) * height * Workload::kFilter);
    glActiveTexture(GL_TEXTURE0);
    return result;
}

} // namespace vitrel::qc
