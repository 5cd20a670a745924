// A canvas and what authors' programs, and images for later, ask of it.
#include "platform/quartzcomposer/drawing/GLCanvas.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

bool finite(const ShaderVertex& v)
{
    const auto all = [](std::span<const float> part) {
        return std::all_of(part.begin(), part.end(), [](float f) { return std::isfinite(f); });
    };
    return all(v.position) && all(v.texture) && all(v.color) && all(v.normal);
}

} // namespace

bool GLCanvas::drawShaded(Primitive primitive, std::span<const ShaderVertex> vertices, const ShaderUse& use,
    const ShaderSurroundings& around, const Paint& paint)
{
    if (vertices.empty() || work_.isLate() || !std::all_of(vertices.begin(), vertices.end(), finite))
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
