#include "platform/quartzcomposer/drawing/Texture.h"

#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/gl.h>

namespace vitrel::qc {

namespace {

constexpr std::size_t kMaxLivingBytes = 160u << 20;
std::size_t livingBytes = 0; // main thread

} // namespace

TextureRef Texture::make(int width, int height, const std::uint32_t* pixels, Use use, int copies, Format format)
{
    constexpr int kMaxSide = 16384;
    const GLContext* context = GLContext::current();
    if (!context || width < 1 || height < 1 || width > kMaxSide || height > kMaxSide)
        return nullptr;
    const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height)
        * (format == Format::Half ? 8 : 4) * static_cast<std::size_t>(copies);
    if (use == Use::Composition && livingBytes + size > kMaxLivingBytes)
        return nullptr;
    std::shared_ptr<Texture> texture(new Texture);
    texture->counted_ = use == Use::Composition ? size : 0;
    livingBytes += texture->counted_;
    texture->width_ = width;
    texture->height_ = height;
    texture->generation_ = context->generation();
    texture->format_ = format;
    glGenTextures(1, &texture->name_);
    glBindTexture(GL_TEXTURE_2D, texture->name_);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
    // Unsized, in the order of the words: the driver then keeps the pixels as they are, and software renderers have a
    // fast path for them that a sized format loses.
    if (format == Format::Half)
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA16F, width, height, 0, GL_RGBA, GL_HALF_FLOAT, nullptr);
    else
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, pixels);
    return texture;
}

Texture::~Texture()
{
    livingBytes -= counted_;
    const GLContext* context = name_ ? GLContext::current() : nullptr;
    if (context && context->generation() == generation_)
        glDeleteTextures(1, &name_);
}

} // namespace vitrel::qc
