#include "platform/quartzcomposer/drawing/Target.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace vitrel::qc {

namespace {

// Buffers that were needed while drawing, for the next target of their size: pictures that move are drawn anew each
// frame. Main thread.
struct Buffer {
    unsigned name;
    int width, height, samples;
    GLenum format;
    std::uint64_t generation;
};
constexpr std::size_t kMostSpare = 2;
auto& spares = *new std::vector<Buffer>;

unsigned buffer(const Texture& texture, int samples, GLenum format)
{
    const auto found = std::find_if(spares.begin(), spares.end(), [&](const Buffer& b) {
        return b.width == texture.width() && b.height == texture.height() && b.samples == samples && b.format == format
            && b.generation == texture.generation();
    });
    if (found != spares.end()) {
        const unsigned name = found->name;
        spares.erase(found);
        return name;
    }
    unsigned name = 0;
    glGenRenderbuffers(1, &name);
    glBindRenderbuffer(GL_RENDERBUFFER, name);
    glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples, format, texture.width(), texture.height());
    return name;
}

void giveBack(unsigned name, const Texture& texture, int samples, GLenum format)
{
    if (name == 0)
        return;
    spares.push_back({name, texture.width(), texture.height(), samples, format, texture.generation()});
    if (spares.size() <= kMostSpare)
        return;
    if (spares.front().generation == texture.generation())
        glDeleteRenderbuffers(1, &spares.front().name);
    spares.erase(spares.begin());
}

void clearAll(bool color, bool depth)
{
    glDisable(GL_SCISSOR_TEST);
    glColorMask(true, true, true, true);
    glDepthMask(true);
    glClearColor(0, 0, 0, 0);
    glClear((color ? static_cast<unsigned>(GL_COLOR_BUFFER_BIT) : 0u)
        | (depth ? static_cast<unsigned>(GL_DEPTH_BUFFER_BIT) : 0u));
}

} // namespace

Target::Target(TextureRef texture, int width, int height, bool mayHaveDepth)
    : width(width)
    , height(height)
    , texture_(std::move(texture))
    , mayHaveDepth_(mayHaveDepth)
{
    texture_->framebuffer();
    clearAll(true, false);
}

Target::Target(Target&& other) noexcept
{
    swap(other);
}

Target& Target::operator=(Target&& other) noexcept
{
    swap(other);
    return *this;
}

void Target::swap(Target& other) noexcept
{
    std::swap(width, other.width);
    std::swap(height, other.height);
    std::swap(texture_, other.texture_);
    std::swap(mayHaveDepth_, other.mayHaveDepth_);
    std::swap(drawn_, other.drawn_);
    std::swap(samples_, other.samples_);
    std::swap(sampled_, other.sampled_);
    std::swap(colors_, other.colors_);
    std::swap(depth_, other.depth_);
}

Target::~Target()
{
    if (!texture_ || !texture_->valid())
        return;
    if (depth_ != 0 && sampled_ == 0) { // the texture's framebuffer lives on
        texture_->framebuffer();
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, 0);
    }
    glDeleteFramebuffers(1, &sampled_);
    giveBack(depth_, *texture_, samples_, GL_DEPTH_COMPONENT24);
    giveBack(colors_, *texture_, samples_, GL_RGBA8);
}

unsigned Target::framebuffer()
{
    if (sampled_ == 0)
        return texture_->framebuffer();
    glBindFramebuffer(GL_FRAMEBUFFER, sampled_);
    return sampled_;
}

void Target::copy(unsigned from, unsigned to) const
{
    glDisable(GL_SCISSOR_TEST);
    glColorMask(true, true, true, true);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, from);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, to);
    glBlitFramebuffer(0, 0, texture_->width(), texture_->height(), 0, 0, texture_->width(), texture_->height(),
        GL_COLOR_BUFFER_BIT, GL_NEAREST);
}

void Target::bind()
{
    framebuffer();
    glViewport(0, 0, texture_->width(), texture_->height());
    glDisable(GL_SCISSOR_TEST);
    drawn_ = true;
}

void Target::wantDepth()
{
    if (depth_ != 0 || !mayHaveDepth_)
        return;
    depth_ = buffer(*texture_, samples_, GL_DEPTH_COMPONENT24);
    framebuffer();
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depth_);
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, 0);
        glDeleteRenderbuffers(1, &depth_);
        depth_ = 0;
        mayHaveDepth_ = false; // no memory for it
        return;
    }
    clearAll(false, true);
}

bool Target::wantSamples(int count)
{
    if (samples_ == count)
        return true;
    GLint most = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &most);
    if (count < 2 || most < count || samples_ != 0 || depth_ != 0)
        return false;
    colors_ = buffer(*texture_, count, GL_RGBA8);
    glGenFramebuffers(1, &sampled_);
    glBindFramebuffer(GL_FRAMEBUFFER, sampled_);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, colors_);
    samples_ = count;
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        glDeleteFramebuffers(1, &sampled_);
        glDeleteRenderbuffers(1, &colors_);
        sampled_ = colors_ = 0;
        samples_ = 0;
        return false;
    }
    copy(texture_->framebuffer(), sampled_);
    return true;
}

unsigned Target::resolved()
{
    if (sampled_ != 0 && std::exchange(drawn_, false))
        copy(sampled_, texture_->framebuffer());
    return texture_->framebuffer();
}

} // namespace vitrel::qc
