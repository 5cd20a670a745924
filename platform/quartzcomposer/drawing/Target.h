#pragma once

#include "platform/quartzcomposer/drawing/Texture.h"

namespace vitrel::qc {

// Where a canvas draws: a texture, and what is needed only while drawing, as a depth buffer once something asks for
// one, and samples for smooth edges. Main thread, with the context current.
class Target
{
public:
    // `width` and `height` as compositions see them; the texture may have fewer pixels. It starts transparent.
    Target(TextureRef texture, int width, int height, bool mayHaveDepth);
    Target(Target&& other) noexcept;
    Target& operator=(Target&& other) noexcept;
    ~Target();

    int width = 0, height = 0;
    const TextureRef& texture() const { return texture_; }
    bool mayHaveDepth() const { return mayHaveDepth_; }

    // Makes it what OpenGL draws into, whole.
    void bind();
    // The next bind has a depth buffer. It starts far away.
    void wantDepth();
    bool hasDepth() const { return depth_ != 0; }
    // From now on edges are smooth; what is drawn already stays. Ahead of the depth. False if that can't be.
    bool wantSamples(int count);
    int samples() const { return samples_; }
    // Brings what was drawn into the texture, whose framebuffer it gives.
    unsigned resolved();

private:
    void swap(Target& other) noexcept;
    unsigned framebuffer();
    void copy(unsigned from, unsigned to) const;

    TextureRef texture_;
    bool mayHaveDepth_ = false, drawn_ = false;
    int samples_ = 0;
    unsigned sampled_ = 0, colors_ = 0, depth_ = 0; // a framebuffer with samples, its colours; the depth of either
};

} // namespace vitrel::qc
