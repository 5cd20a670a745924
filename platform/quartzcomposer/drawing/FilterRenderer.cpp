#include "platform/quartzcomposer/drawing/FilterRenderer.h"

#include "platform/quartzcomposer/drawing/FilterShaders.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/scene/Filters.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>

namespace vitrel::qc {

namespace {

constexpr int kMaxChain = 64; // filters upon filters
// Passes for one picture that is shown: results without an end aren't kept, so two inputs of one source double them.
constexpr int kMaxPasses = 512;
constexpr std::size_t kMostLevels = 7; // of a picture that is shown small

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
    return static_cast<int>(std::clamp(std::ceil(length - 1e-6), 1.0, double(Texture::largestSide())));
}

} // namespace

FilterRenderer::FilterRenderer(Workload& work)
    : work_(work)
    , kernels_(work)
    , generation_(GLContext::current() ? GLContext::current()->generation() : 0)
{
    glGenVertexArrays(1, &vertexArray_);
}

FilterRenderer::~FilterRenderer()
{
    const GLContext* context = GLContext::current();
    if (!context || context->generation() != generation_)
        return;
    glDeleteVertexArrays(1, &vertexArray_);
}

TextureRef FilterRenderer::texture(const ImageRef& image, int targetWidth, int targetHeight, double texelsPerPixel)
{
    if (image->bitmap()) {
        std::size_t wanted = 0;
        while (texelsPerPixel > 1.7 && wanted < kMostLevels - 1) {
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

namespace {

TextureLevels& levelsOf(const Image& image, bool canBeMadeAgain)
{
    auto levels = std::dynamic_pointer_cast<TextureLevels>(image.realization);
    if (!levels)
        image.realization = levels = std::make_shared<TextureLevels>(canBeMadeAgain);
    return *levels;
}

} // namespace

// One that doesn't fit gives way to a smaller one.
TextureRef FilterRenderer::level(const ImageRef& image, std::size_t number)
{
    const auto bitmap = image->bitmap();
    const auto levels = std::dynamic_pointer_cast<TextureLevels>(image->realization);
    for (; number < kMostLevels; ++number) {
        if (auto there = levels ? levels->at(number) : nullptr)
            return there;
        if (work_.isLate())
            return nullptr;
        work_.spend(double(bitmap->width) * bitmap->height * (number ? 2 : 1));
        Bitmap small;
        for (std::size_t k = 0; k < number; ++k)
            small = halved(k == 0 ? *bitmap : small);
        const Bitmap& shown = number ? small : *bitmap;
        if (auto made = Texture::make(shown.width, shown.height, shown.pixels.data())) {
            levelsOf(*image, true).keep(number, made);
            return made;
        }
    }
    return nullptr;
}

FilterRenderer::Piece FilterRenderer::piece(const ImageRef& image, const Extent& wanted)
{
    if (!image || passes_ > kMaxPasses)
        return {};
    const auto* filtered = dynamic_cast<const FilteredImage*>(image.get());
    const auto levels = std::dynamic_pointer_cast<TextureLevels>(image->realization);
    const auto* kernel = dynamic_cast<const KernelImage*>(image.get());
    if (!filtered && !kernel) {
        if (image->bitmap())
            return {level(image, 0), image->extent()};
        return {levels ? levels->at(0) : nullptr, image->extent()};
    }
    if (depth_ >= kMaxChain)
        return {};
    // One with an end is computed whole, another as far as it is wanted; kept are both, as what stands still is shown
    // again in the next frame, and within a frame often more than once.
    const Extent& part = image->extent().infinite ? wanted : image->extent();
    if (auto there = levels && levels->covers == part ? levels->at(0) : nullptr)
        return {there, part};
    ++depth_;
    const Piece result = kernel ? this->kernel(*kernel, part) : computed(*filtered, part);
    --depth_;
    if (result.texture) {
        TextureLevels& kept = levelsOf(*image, true);
        kept.keep(0, result.texture);
        kept.covers = part;
    }
    return result;
}

namespace {

bool is(const FilteredImage& image, std::string_view name)
{
    return image.filter.name == name;
}

bool goesThroughTransform(const FilteredImage& image)
{
    return is(image, "CIAffineTransform") || is(image, "CIAffineClamp") || is(image, "CIAffineTile");
}

// Shaders go from the result back to the source. Absent where there is no way back.
std::optional<std::vector<double>> numbersFor(const FilteredImage& image)
{
    if (is(image, "CIPerspectiveTransform"))
        return sharesOfQuadrangle(image.numbers);
    if (!goesThroughTransform(image))
        return image.numbers;
    const Affine t = affineOf(image.numbers);
    const double det = t.a * t.d - t.b * t.c;
    if (std::fabs(det) < 1e-12)
        return std::nullopt;
    return std::vector<double>{t.d / det, -t.b / det, -t.c / det, t.a / det, t.tx, t.ty};
}

// True for a result without anything fine in it, for which half the pixels do.
bool softens(const FilteredImage& image)
{
    const std::vector<double>& n = image.numbers;
    return is(image, "CICheapBlur") && n[0] * n[1] >= 4;
}

// What part of an image without an end a filter reads for the part of its result that is wanted. `n` are its shader's
// numbers.
Extent needed(const FilteredImage& image, const std::vector<double>& n, const Extent& wanted)
{
    const Filter& filter = image.filter;
    if (goesThroughTransform(image)) {
        Extent box{1e9, 1e9, 0, 0, false};
        double right = -1e9, top = -1e9;
        for (const double x : {wanted.x, wanted.x + wanted.width}) {
            for (const double y : {wanted.y, wanted.y + wanted.height}) {
                const double px = n[0] * (x - n[4]) + n[2] * (y - n[5]), py = n[1] * (x - n[4]) + n[3] * (y - n[5]);
                box.x = std::min(box.x, px);
                box.y = std::min(box.y, py);
                right = std::max(right, px);
                top = std::max(top, py);
            }
        }
        box.width = std::clamp(right - box.x, 1.0, 1e5);
        box.height = std::clamp(top - box.y, 1.0, 1e5);
        return box;
    }
    // Generators, compositing and colours read where they write, all others about it.
    const bool reads = filter.images[0] && filter.rule != ExtentRule::Union && filter.rule != ExtentRule::Masked
        && filter.parameters[0].key && filter.parameters[0].kind != ParameterKind::Number;
    return reads ? grow(wanted, std::max(wanted.width, wanted.height) / 4) : wanted;
}

} // namespace

FilterRenderer::Piece FilterRenderer::computed(const FilteredImage& image, const Extent& wanted)
{
    if (wanted.empty())
        return {};
    if (image.filter.rule == ExtentRule::Blur && !image.filter.wantsBlurred)
        return blurred(image, wanted);
    const auto numbers = numbersFor(image);
    if (!numbers)
        return {};
    std::vector<Piece> inputs;
    for (const ImageRef& input : image.inputs)
        inputs.push_back(
            piece(input, input && !input->extent().infinite ? input->extent() : needed(image, *numbers, wanted)));
    if (image.filter.wantsBlurred) {
        inputs.resize(1);
        inputs.push_back(blurred(image, wanted));
    }
    const double fewer = softens(image) ? 2 : 1;
    return run(program(image.filter.name), inputs, wanted, pixels(wanted.width / fewer), pixels(wanted.height / fewer),
        *numbers, image.colors);
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
    glBindVertexArray(vertexArray_);
    return kernels_.run(image, inputs, wanted, pixels(wanted.width), pixels(wanted.height), format);
}

// In two passes on a copy that is small enough for a few taps to do.
FilterRenderer::Piece FilterRenderer::blurred(const FilteredImage& image, const Extent& wanted)
{
    const double radius = std::clamp(image.numbers[0], 0.0, 1000.0);
    const bool isBox = is(image, "CIBoxBlur");
    const double sigma = is(image, "CIDiscBlur") || isBox ? radius / 2 : radius; // a disc's spread, softly
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
    const Program& pass = program(isBox ? "box" : "blur");
    const double reach = isBox ? radius : sigma;
    const Piece across = run(pass, {input}, wanted, width, height, {reach, 1, 0}, {});
    return run(pass, {across}, wanted, width, height, {reach, 0, 1}, {});
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
    Piece result{Texture::fitting(width, height), covers};
    if (!result.texture)
        return {};
    result.texture->framebuffer();
    width = result.texture->width();
    height = result.texture->height();
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
