#include "platform/quartzcomposer/drawing/Texture.h"

#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

constexpr std::size_t kMaxLivingBytes = 160u << 20;
// Of memory that waits for the next texture of its size: for as many frames, and no more than so much.
constexpr std::uint64_t kSpareFrames = 30;
constexpr std::size_t kMaxSpareBytes = 32u << 20;

// Memory without a holder, oldest first. Main thread, as all here.
struct Spare {
    unsigned name, framebuffer;
    int width, height;
    Texture::Format format;
    std::size_t bytes;
    std::uint64_t since, generation;
};
// Never destroyed: what outlives main may still come back to them.
auto& spares = *new std::vector<Spare>;
auto& kept = *new std::vector<TextureLevels*>; // what can be made again
std::size_t livingBytes = 0, spareBytes = 0;
std::uint64_t frame = 0, shows = 0;

void drop(const Spare& spare)
{
    spareBytes -= spare.bytes;
    const GLContext* context = GLContext::current();
    if (!context || context->generation() != spare.generation)
        return;
    glDeleteFramebuffers(1, &spare.framebuffer);
    glDeleteTextures(1, &spare.name);
}

void dropSparesUntil(std::size_t bytes)
{
    std::size_t count = 0;
    while (count < spares.size() && spareBytes > bytes)
        drop(spares[count++]);
    spares.erase(spares.begin(), spares.begin() + static_cast<std::ptrdiff_t>(count));
}

bool makeRoom(std::size_t size)
{
    if (livingBytes + size <= kMaxLivingBytes)
        return true;
    std::vector<TextureLevels*> oldest = kept;
    std::sort(oldest.begin(), oldest.end(), [](const auto* a, const auto* b) { return a->shown < b->shown; });
    for (TextureLevels* levels : oldest) {
        levels->levels.clear(); // those that are in use just now stay with their users
        if (livingBytes + size <= kMaxLivingBytes)
            return true;
    }
    return false;
}

} // namespace

TextureRef Texture::make(int width, int height, const std::uint32_t* pixels, Use use, Format format)
{
    const GLContext* context = GLContext::current();
    if (!context || width < 1 || height < 1 || width > largestSide() || height > largestSide())
        return nullptr;
    const std::size_t size
        = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * (format == Format::Halves ? 8 : 4);
    if (use == Use::Composition && !makeRoom(size))
        return nullptr;
    std::shared_ptr<Texture> texture(new Texture);
    texture->counted_ = use == Use::Composition ? size : 0;
    livingBytes += texture->counted_;
    texture->width_ = width;
    texture->height_ = height;
    texture->format_ = format;
    texture->generation_ = context->generation();
    const auto spare = std::find_if(spares.begin(), spares.end(), [&](const Spare& s) {
        return s.width == width && s.height == height && s.format == format && s.generation == context->generation();
    });
    if (spare != spares.end()) {
        texture->name_ = spare->name;
        texture->framebuffer_ = spare->framebuffer;
        spareBytes -= spare->bytes;
        spares.erase(spare);
        glBindTexture(GL_TEXTURE_2D, texture->name_);
        if (pixels)
            glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, pixels);
        return texture;
    }
    if (livingBytes + spareBytes > kMaxLivingBytes)
        dropSparesUntil(livingBytes > kMaxLivingBytes ? 0 : kMaxLivingBytes - livingBytes);
    glGenTextures(1, &texture->name_);
    glBindTexture(GL_TEXTURE_2D, texture->name_);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
    // Unsized, in the order of the words: the driver then keeps the pixels as they are, and software renderers have a
    // fast path for them that a sized format loses.
    if (format == Format::Bytes)
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, pixels);
    else
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA16F, width, height, 0, GL_RGBA, GL_HALF_FLOAT, nullptr);
    return texture;
}

TextureRef Texture::fitting(double width, double height, Format format)
{
    const double most = largestSide();
    const auto side
        = [most](double length) { return static_cast<int>(std::clamp(std::ceil(length - 1e-6), 1.0, most)); };
    for (;; width /= 2, height /= 2) {
        auto texture = make(side(width), side(height), nullptr, Use::Composition, format);
        if (texture || !GLContext::current())
            return texture;
        if (width <= 2 && height <= 2)
            return make(1, 1, nullptr, Use::View, format);
    }
}

bool Texture::valid() const
{
    const GLContext* context = GLContext::current();
    return context && context->generation() == generation_;
}

unsigned Texture::framebuffer()
{
    if (framebuffer_ == 0) {
        glGenFramebuffers(1, &framebuffer_);
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, name_, 0);
    } else {
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    }
    return framebuffer_;
}

Texture::~Texture()
{
    livingBytes -= counted_;
    if (!name_ || !valid())
        return;
    const std::size_t bytes
        = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_) * (format_ == Format::Halves ? 8 : 4);
    spares.push_back({name_, framebuffer_, width_, height_, format_, bytes, frame, generation_});
    spareBytes += bytes;
    dropSparesUntil(kMaxSpareBytes);
}

int Texture::largestSide()
{
    constexpr GLint kMost = 16384;
    static GLint side = 0;
    static std::uint64_t generation = 0;
    const GLContext* context = GLContext::current();
    if (context && (side == 0 || generation != context->generation())) {
        generation = context->generation();
        glGetIntegerv(GL_MAX_TEXTURE_SIZE, &side);
    }
    return std::clamp(side, 64, kMost);
}

void Texture::beginFrame()
{
    ++frame;
    std::size_t count = 0;
    while (count < spares.size() && spares[count].since + kSpareFrames < frame)
        drop(spares[count++]);
    spares.erase(spares.begin(), spares.begin() + static_cast<std::ptrdiff_t>(count));
}

TextureLevels::TextureLevels(bool canBeMadeAgain)
{
    if (canBeMadeAgain)
        kept.push_back(this);
}

TextureLevels::~TextureLevels()
{
    kept.erase(std::remove(kept.begin(), kept.end(), this), kept.end());
}

TextureRef TextureLevels::at(std::size_t level)
{
    if (level >= levels.size() || !levels[level] || !levels[level]->valid())
        return nullptr;
    shown = ++shows;
    return levels[level];
}

void TextureLevels::keep(std::size_t level, TextureRef texture)
{
    if (levels.size() <= level)
        levels.resize(level + 1);
    levels[level] = std::move(texture);
    shown = ++shows;
}

} // namespace vitrel::qc
