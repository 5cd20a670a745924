// What many pictures begin with: glows, gradients and blurred covers over all of the view. A software renderer takes
// several times as long for a pixel of such a layer as for one that is enlarged, and nobody sees a difference.
#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace vitrel::qc {

namespace {

constexpr int kFewer = SmoothEnlarging::kFactor; // times as few pixels each way
constexpr int kStrip = 16; // rows that are enlarged at a time, while they are at hand
// What may become of a layer, in steps of 255: no more than rounding makes of smooth ones.
constexpr double kMostLoss = 2;
constexpr double kBlurred = 2; // times the distance of its samples is what a pixel depends on
constexpr int kFaded = 1;
// A texture is measured once it was shown in so many frames: most that move are new in each.
constexpr int kSettled = 3;
constexpr double kMostMeasured = 1e6; // pixels
// Of the target, that the layers cover together, from which on it pays.
constexpr double kWorthwhile = 0.8;

const Smoothness* measured(Texture& texture)
{
    if (texture.smoothness)
        return &*texture.smoothness;
    const double pixels = double(texture.width()) * texture.height();
    if (texture.format() != Texture::Format::Bytes || pixels > kMostMeasured || ++texture.asked < kSettled)
        return nullptr;
    std::vector<std::uint32_t> words(static_cast<std::size_t>(pixels));
    texture.framebuffer();
    glReadPixels(0, 0, texture.width(), texture.height(), GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, words.data());
    texture.smoothness = smoothnessOf(words, std::size_t(texture.width()), std::size_t(texture.height()));
    return &*texture.smoothness;
}

} // namespace

// False if the target has to be cleared at once.
bool GLCanvas::openGround(const NSColor& straight)
{
    const GLContext* const context = GLContext::current();
    isGroundOpen_ = samples_ == 0 && context && context->software();
    groundColor_ = straight;
    ground_.clear();
    return isGroundOpen_;
}

// An upright rectangle that covers the target, or fades before its edges, with a smooth picture.
bool GLCanvas::isGround(std::span<const CanvasVertex> corners, const Paint& paint, const State& state) const
{
    const bool isPlain = state.texture && !state.mask && !(state.variant & kAlphaTested) && !state.scissor
        && state.depth == DepthTest::None && state.culling == Culling::None && state.colorMask == 0xF && !state.nearest
        && state.colorEquation == BlendEquation::Add && state.alphaEquation == BlendEquation::Add;
    if (!isPlain || state.primitive != Primitive::Triangles || corners.size() != 6 || !paint.image
        || paint.image->bitmap() || !areUpright(corners))
        return false;
    float left = 1e9f, right = -1e9f, bottom = 1e9f, top = -1e9f;
    for (const CanvasVertex& v : corners) {
        const float w = v.position[3];
        if (w <= 0 || std::any_of(std::begin(v.color), std::end(v.color), [](float c) { return c < 0 || c > 1; }))
            return false;
        left = std::min(left, v.position[0] / w);
        right = std::max(right, v.position[0] / w);
        bottom = std::min(bottom, v.position[1] / w);
        top = std::max(top, v.position[1] / w);
    }
    constexpr float kEdge = 0.9999f;
    const bool covers = left <= -kEdge && right >= kEdge && bottom <= -kEdge && top >= kEdge;
    if (!covers && state.blending == Blending::Replace)
        return false;
    const Smoothness* const smoothness = measured(*state.texture);
    const Extent texels{0, 0, double(state.texture->width()), double(state.texture->height()), false};
    return smoothness && (covers || smoothness->border <= kFaded)
        && lossOf(*smoothness, kBlurred * kFewer * texelsPerPixel(corners, texels).most) <= kMostLoss;
}

void GLCanvas::layGround()
{
    if (!std::exchange(isGroundOpen_, false))
        return;
    std::vector<GroundLayer> layers;
    layers.swap(ground_);
    double pixels = 0;
    for (const GroundLayer& layer : layers)
        pixels += pixelsOf(layer.corners[0], layer.corners[1], layer.corners[2])
            + pixelsOf(layer.corners[3], layer.corners[4], layer.corners[5]);
    Target& target = targets_.front();
    const int width = target.texture()->width(), height = target.texture()->height();
    if (pixels < kWorthwhile * width * height || !drawGround(layers)) {
        target.bind();
        glColorMask(true, true, true, true);
        setClearColor(groundColor_);
        glClear(GL_COLOR_BUFFER_BIT);
        for (const GroundLayer& layer : layers)
            gather(layer.corners, {}, layer.state, false);
        return;
    }
    // In strips: what was just written is still at hand when the driver copies it.
    std::vector<std::uint32_t> strip(std::size_t(width) * kStrip);
    glBindTexture(GL_TEXTURE_2D, target.texture()->name());
    for (int y = 0; y < height; y += kStrip) {
        const int rows = std::min(kStrip, height - y);
        groundPicture_.write(strip.data(), width, y, y + rows);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, y, width, rows, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, strip.data());
    }
}

// With few pixels, into memory. Where it is the last frame's ground again, that is there.
bool GLCanvas::drawGround(std::vector<GroundLayer>& layers)
{
    const int width = pixelsWide(), height = pixelsHigh(), columns = (width + kFewer - 1) / kFewer,
              rows = (height + kFewer - 1) / kFewer;
    if (!groundTexture_ || groundTexture_->width() != columns || groundTexture_->height() != rows) {
        groundTexture_ = Texture::make(columns, rows, nullptr, Texture::Use::View);
        lastGround_.clear();
    }
    if (!groundTexture_)
        return false;
    if (layers == lastGround_ && groundColor_ == lastGroundColor_)
        return true;
    groundTexture_->framebuffer();
    glViewport(0, 0, columns, rows);
    glDisable(GL_SCISSOR_TEST);
    glColorMask(true, true, true, true);
    setClearColor(groundColor_);
    glClear(GL_COLOR_BUFFER_BIT);
    glBindVertexArray(vertexArray_);
    glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    // The last column and row may reach beyond the target.
    const float across = float(width) / float(kFewer * columns), down = float(height) / float(kFewer * rows);
    for (const GroundLayer& layer : layers) {
        auto corners = layer.corners;
        for (CanvasVertex& v : corners) {
            const float w = v.position[3];
            v.position[0] = (v.position[0] + w) * across - w;
            v.position[1] = (v.position[1] - w) * down + w;
        }
        apply(layer.state);
        send(GL_ARRAY_BUFFER, room_, corners.data(), sizeof corners);
        glDrawArrays(GL_TRIANGLES, 0, GLsizei(corners.size()));
        ++drawCalls_;
    }
    Bitmap pixels{columns, rows, std::vector<std::uint32_t>(std::size_t(columns) * std::size_t(rows))};
    glReadPixels(0, 0, columns, rows, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, pixels.pixels.data());
    groundPicture_.take(pixels);
    lastGround_.swap(layers);
    lastGroundColor_ = groundColor_;
    return true;
}

} // namespace vitrel::qc
