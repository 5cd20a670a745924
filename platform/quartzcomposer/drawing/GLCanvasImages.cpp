// A canvas and what authors' programs, and images for later, ask of it.
#include "platform/quartzcomposer/drawing/GLCanvas.h"

#include "platform/quartzcomposer/drawing/FiniteNumbers.h"
#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

bool GLCanvas::drawShaded(Primitive primitive, std::span<const ShaderVertex> vertices, const ShaderUse& use,
    const ShaderSurroundings& around, const Paint& paint)
{
    if (vertices.empty() || work_.isLate() || !areFinite(vertices))
        return true;
    flush();
    if (!shaders_)
        shaders_ = std::make_unique<ShaderRenderer>(work_);
    if (!shaders_->isUsable(*use.shader))
        return false;
    Target& target = targets_.back();
    const Texture& pixels = *target.texture();
    ShaderRenderer::Call call{use, around, {}, {}, float(target.width) / float(pixels.width()),
        float(target.height) / float(pixels.height()), float(target.height)};
    const auto textureOf
        = [&](const ImageRef& image) { return image ? filters_->texture(image, width(), height(), 1) : nullptr; };
    call.own = textureOf(paint.image);
    for (std::size_t k = 0; k < use.shader->uniforms.size() && k < use.values.size(); ++k) {
        if (use.shader->uniforms[k].type == ShaderUniform::Image)
            call.images.push_back(textureOf(use.values[k].image));
    }
    State state;
    state.blending = paint.blending;
    state.depth = target.mayHaveDepth() ? paint.depth : DepthTest::None;
    state.culling = paint.culling;
    state.colorMask = paint.colorMask;
    if (state.depth != DepthTest::None)
        target.wantDepth();
    target.bind();
    applyModes(state);
    glFrontFace(GL_CW); // counter-clockwise, upside down
    shaders_->draw(primitive, vertices, call);
    return true;
}

// The image as the mask leaves it, in a texture of its own: a software renderer takes several times as long for two
// textures as for one. Null until it has paid to make one.
TextureRef GLCanvas::masked(const TextureRef& image, const TextureRef& mask)
{
    constexpr int kSettled = 3; // frames
    constexpr std::size_t kMost = 8;
    const GLContext* const context = GLContext::current();
    if (!context || !context->software() || image->format() != Texture::Format::Bytes)
        return nullptr;
    auto place = std::find_if(
        masked_.begin(), masked_.end(), [&](const Masked& each) { return each.image == image && each.mask == mask; });
    if (place == masked_.end()) {
        if (masked_.size() >= kMost)
            return nullptr;
        place = masked_.insert(masked_.end(), {image, mask, nullptr});
    } else if (!place->isShown) {
        ++place->frames;
    }
    place->isShown = true;
    if (place->both || place->frames < kSettled)
        return place->both;
    auto both = Texture::make(image->width(), image->height(), nullptr);
    if (!both)
        return nullptr;
    both->framebuffer();
    glViewport(0, 0, both->width(), both->height());
    glDisable(GL_SCISSOR_TEST);
    State state;
    state.texture = image;
    state.mask = mask;
    state.variant = kTextured | kMasked;
    state.blending = Blending::Replace;
    apply(state);
    constexpr auto corner = [](float x, float y) {
        return CanvasVertex{{2 * x - 1, 2 * y - 1, 0, 1}, {x, y}, {1, 1, 1, 1}};
    };
    const CanvasVertex corners[] = {corner(0, 0), corner(1, 0), corner(1, 1), corner(0, 0), corner(1, 1), corner(0, 1)};
    glBindVertexArray(vertexArray_);
    glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    send(GL_ARRAY_BUFFER, room_, corners, sizeof corners);
    glDrawArrays(GL_TRIANGLES, 0, GLsizei(std::size(corners)));
    return place->both = both;
}

ImageRef GLCanvas::realized(const ImageRef& image)
{
    if (!image || image->bitmap() || !dynamic_cast<const LazyImage*>(image.get()))
        return image;
    flush();
    const TextureRef texture = filters_->texture(image, width(), height(), 1);
    if (!texture)
        return nullptr;
    const Extent here{0, 0, double(width()), double(height()), false};
    auto drawn = std::make_shared<DrawnImage>(image->extent().infinite ? here : image->extent());
    auto levels = std::make_shared<TextureLevels>(false);
    levels->keep(0, texture);
    drawn->realization = levels;
    return drawn;
}

} // namespace vitrel::qc
