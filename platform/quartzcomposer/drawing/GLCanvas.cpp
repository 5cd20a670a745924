#include "platform/quartzcomposer/drawing/GLCanvas.h"

#include "platform/quartzcomposer/drawing/FiniteNumbers.h"
#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace vitrel::qc {

namespace {

// What of a pixel's alpha counts as clear.
constexpr float kClear = 0.01f;

// The colour comes first among what the shaders hand on: Mesa 22's fast path for rectangles takes the varyings in this
// order whatever the fragment shader says, and draws rainbows otherwise.
constexpr const char* kVertexShader = R"(
in vec4 position; in vec2 texture0; in vec4 color;
out vec4 tint; out vec2 at;
void main() {
    gl_Position = vec4(position.x, -position.y, position.z, position.w);
    at = vec2(texture0.x, 1.0 - texture0.y);
    tint = color;
})";

GLenum equation(BlendEquation which)
{
    constexpr GLenum kEquations[] = {GL_FUNC_ADD, GL_FUNC_SUBTRACT, GL_FUNC_REVERSE_SUBTRACT, GL_MIN, GL_MAX};
    return kEquations[static_cast<std::size_t>(which)];
}

bool opaqueWhite(const CanvasVertex& v)
{
    return v.color[0] == 1 && v.color[1] == 1 && v.color[2] == 1 && v.color[3] == 1;
}

} // namespace

std::string GLCanvas::fragmentShader(unsigned variant)
{
    std::string text = "in vec4 tint; in vec2 at; out vec4 result; uniform sampler2D image; uniform sampler2D "
                       "mask; uniform float least;\nvoid main() {\n";
    text += variant & kTextured ? "vec4 c = texture(image, at);\n" : "vec4 c = vec4(1.0);\n";
    if (variant & kColored)
        text += "c *= tint;\n";
    if (variant & kMasked)
        text += "c *= dot(texture(mask, at).rgb, vec3(0.299, 0.587, 0.114));\n";
    if (variant & kAlphaTested)
        text += "if (c.a <= least) discard;\n";
    return text + "result = c; }";
}

std::unique_ptr<GLCanvas> GLCanvas::make(int width, int height, bool depth)
{
    std::unique_ptr<GLCanvas> canvas(new GLCanvas);
    return canvas->begin(width, height, depth) ? std::move(canvas) : nullptr;
}

bool GLCanvas::begin(int width, int height, bool depth)
{
    const GLContext* context = GLContext::current();
    if (!context)
        return false;
    generation_ = context->generation();
    depth_ = depth;
    auto texture = Texture::make(width, height, nullptr, Texture::Use::View);
    if (!texture)
        return false;
    targets_.emplace_back(std::move(texture), width, height, depth);
    glGenVertexArrays(1, &vertexArray_);
    glBindVertexArray(vertexArray_);
    glGenBuffers(1, &buffer_);
    glGenBuffers(1, &orderBuffer_);
    glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    setVertexAttribute(0, 4, sizeof(CanvasVertex), offsetof(CanvasVertex, position));
    setVertexAttribute(1, 2, sizeof(CanvasVertex), offsetof(CanvasVertex, texture));
    setVertexAttribute(2, 4, sizeof(CanvasVertex), offsetof(CanvasVertex, color));
    filters_ = std::make_unique<FilterRenderer>(work_);
    return true;
}

GLCanvas::~GLCanvas()
{
    if (!valid())
        return;
    glDeleteBuffers(1, &buffer_);
    glDeleteBuffers(1, &orderBuffer_);
    glDeleteVertexArrays(1, &vertexArray_);
}

bool GLCanvas::valid() const
{
    const GLContext* context = GLContext::current();
    return context && context->generation() == generation_;
}

int GLCanvas::largestSide() const
{
    return Texture::largestSide();
}

void GLCanvas::beginFrame(std::chrono::steady_clock::time_point end)
{
    work_.begin(end);
    occlusion_.forget();
    std::erase_if(masked_, [](Masked& each) { return !std::exchange(each.isShown, false); });
    Texture::beginFrame();
}

bool GLCanvas::resize(int width, int height, int divisor, int samples)
{
    if (!valid())
        return false;
    const int columns = (width + divisor - 1) / divisor, rows = (height + divisor - 1) / divisor;
    Target& outermost = targets_.front();
    if (columns != pixelsWide() || rows != pixelsHigh() || samples != samples_) {
        flush();
        auto texture = Texture::make(columns, rows, nullptr, Texture::Use::View);
        if (!texture)
            return false;
        Target target(std::move(texture), width, height, depth_);
        const unsigned from = outermost.resolved(), to = target.texture()->framebuffer();
        glBindFramebuffer(GL_READ_FRAMEBUFFER, from);
        glBindFramebuffer(GL_DRAW_FRAMEBUFFER, to);
        glBlitFramebuffer(0, 0, pixelsWide(), pixelsHigh(), 0, 0, columns, rows, GL_COLOR_BUFFER_BIT, GL_LINEAR);
        if (samples > 0)
            target.wantSamples(samples);
        outermost = std::move(target);
        samples_ = samples;
        occlusion_.forget();
    }
    outermost.width = width;
    outermost.height = height;
    divisor_ = divisor;
    return true;
}

void GLCanvas::clear(const NSColor& straight, bool color, bool depth, std::uint8_t colorMask)
{
    Target& target = targets_.back();
    // What nobody will see needn't be drawn, unless it leaves something behind in what isn't cleared.
    const bool depthStays = !depth && (target.hasDepth() || state_.depth == DepthTest::ReadWrite);
    if (!color || colorMask != 0xF || depthStays)
        flush();
    forgetGathered();
    gatheredPixels_ = 0;
    target.bind();
    glColorMask(colorMask & 1, colorMask & 2, colorMask & 4, colorMask & 8);
    glDepthMask(true);
    setClearColor(straight);
    if (depth)
        occlusion_.forget();
    const bool waits = color && colorMask == 0xF && targets_.size() == 1 && openGround(straight);
    glClear((color && !waits ? static_cast<unsigned>(GL_COLOR_BUFFER_BIT) : 0u)
        | (depth && target.hasDepth() ? static_cast<unsigned>(GL_DEPTH_BUFFER_BIT) : 0u));
}

void GLCanvas::setClearColor(const NSColor& straight)
{
    const auto part = [&](double c) { return static_cast<float>(std::clamp(c * straight.alpha, 0.0, 1.0)); };
    glClearColor(part(straight.red), part(straight.green), part(straight.blue), part(1));
}

// Absent if nothing can be drawn. `first` are the corners of the first triangle, or fewer.
std::optional<GLCanvas::State> GLCanvas::stateFor(
    std::span<const CanvasVertex> vertices, std::span<const CanvasVertex> first, const Paint& paint)
{
    State state;
    if (paint.image) {
        state.texture
            = filters_->texture(paint.image, width(), height(), texelsPerPixel(first, paint.image->extent()).least);
        if (!state.texture)
            return std::nullopt;
        state.variant |= kTextured;
    }
    if (paint.mask) {
        state.mask = filters_->texture(paint.mask, width(), height(), 1);
        const Extent texels{0, 0, state.texture ? double(state.texture->width()) : 0,
            state.texture ? double(state.texture->height()) : 0, false};
        // With fewer texels than pixels the mask's edges would lose.
        const bool isFine = state.texture && !paint.nearest && texelsPerPixel(first, texels).least >= 1;
        if (const auto both = state.mask && isFine ? masked(state.texture, state.mask) : nullptr) {
            state.texture = both;
            state.mask = nullptr;
        }
        state.variant |= state.mask ? unsigned(kMasked) : 0u;
    }
    if (!std::all_of(vertices.begin(), vertices.end(), opaqueWhite))
        state.variant |= kColored;
    state.blending = paint.blending;
    state.depth = targets_.back().mayHaveDepth() ? paint.depth : DepthTest::None;
    // Only the depth shows whether a clear pixel was there.
    if (paint.discardsClear && paint.blending != Blending::Replace && state.depth == DepthTest::ReadWrite
        && (state.texture || state.variant & kColored))
        state.variant |= kAlphaTested;
    if (state.variant & kAlphaTested)
        state.discardsUpTo = kClear;
    if (paint.discardsUpTo >= 0) {
        state.variant |= kAlphaTested;
        state.discardsUpTo = std::max(state.discardsUpTo, paint.discardsUpTo);
    }
    state.colorEquation = paint.colorEquation;
    state.alphaEquation = paint.alphaEquation;
    state.scissor = paint.scissor;
    state.culling = paint.culling;
    state.colorMask = paint.colorMask;
    state.nearest = paint.nearest;
    return state;
}

namespace {

bool areHairlines(Primitive primitive, const Paint& paint)
{
    return primitive == Primitive::Lines && std::fabs(paint.lineWidth - 1) < 0.01f;
}

} // namespace

void GLCanvas::draw(Primitive primitive, std::span<const CanvasVertex> vertices, const Paint& paint)
{
    if (vertices.empty() || work_.isLate() || !areFinite(vertices))
        return;
    auto state = stateFor(vertices, vertices, paint);
    if (!state)
        return;
    const bool isHairline = areHairlines(primitive, paint), widens = primitive != Primitive::Triangles && !isHairline;
    if (isHairline)
        state->primitive = Primitive::Lines;
    const auto wide = widens ? widened(primitive, vertices, paint.lineWidth) : std::vector<CanvasVertex>();
    const std::span<const CanvasVertex> corners = widens ? std::span<const CanvasVertex>(wide) : vertices;
    if (targets_.size() == 1) {
        roughEdges_ = roughEdges_ || isHairline || !areUpright(corners);
        if (isGroundOpen_ && isGround(corners, paint, *state)) {
            ground_.push_back({*state, {}});
            std::copy_n(corners.begin(), 6, ground_.back().corners.begin());
            return;
        }
        layGround();
    }
    gather(corners, {}, *state, paint.mayComeEarlier && !isHairline);
}

void GLCanvas::drawShared(Primitive primitive, std::span<const CanvasVertex> vertices,
    std::span<const std::uint16_t> corners, const Paint& paint)
{
    const bool isHairline = areHairlines(primitive, paint);
    if (primitive != Primitive::Triangles && !isHairline)
        return Canvas::drawShared(primitive, vertices, corners, paint);
    if (corners.size() < 2 || work_.isLate() || !areFinite(vertices))
        return;
    const CanvasVertex first[]
        = {vertices[corners[0]], vertices[corners[1]], vertices[corners[std::min<std::size_t>(corners.size(), 3) - 1]]};
    auto state = stateFor(vertices, first, paint);
    if (!state)
        return;
    state->primitive = primitive;
    if (targets_.size() == 1) {
        roughEdges_ = true;
        layGround();
    }
    gather(vertices, corners, *state, paint.mayComeEarlier && !isHairline);
}

const Program& GLCanvas::program(unsigned variant)
{
    auto& slot = programs_[variant];
    if (!slot) {
        slot = std::make_unique<Program>(kVertexShader, fragmentShader(variant));
        slot->use();
        glUniform1i(slot->uniform("image"), 0);
        glUniform1i(slot->uniform("mask"), 1);
    }
    return *slot;
}

// What is drawn lies upside down, and may have fewer pixels than it seems.
void GLCanvas::cutTo(const PixelRectangle& area) const
{
    const Target& target = targets_.back();
    const double x = double(target.texture()->width()) / std::max(width(), 1),
                 y = double(target.texture()->height()) / std::max(height(), 1);
    const auto pixels = [](double at) { return static_cast<int>(std::lround(std::clamp(at, -1e6, 1e6))); };
    const int left = pixels(area.x * x), right = pixels((double(area.x) + area.width) * x),
              top = pixels((double(height()) - area.y - area.height) * y),
              bottom = pixels((double(height()) - area.y) * y);
    glEnable(GL_SCISSOR_TEST);
    glScissor(left, top, std::max(right - left, 0), std::max(bottom - top, 0));
}

void GLCanvas::apply(const State& state)
{
    program(state.variant).use();
    if (state.mask) {
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_2D, state.mask->name());
    }
    glActiveTexture(GL_TEXTURE0);
    if (state.texture) {
        glBindTexture(GL_TEXTURE_2D, state.texture->name());
        const GLint filter = state.nearest ? GL_NEAREST : GL_LINEAR;
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    }
    if (state.variant & kAlphaTested)
        glUniform1f(program(state.variant).uniform("least"), state.discardsUpTo);
    applyModes(state);
}

void GLCanvas::applyModes(const State& state)
{
    if (state.scissor)
        cutTo(*state.scissor);
    // Alpha is Over for colours that aren't premultiplied, and all of ours are.
    if (state.blending == Blending::Replace) {
        glDisable(GL_BLEND);
    } else {
        glEnable(GL_BLEND);
        glBlendFunc(GL_ONE, state.blending == Blending::Add ? GL_ONE : GL_ONE_MINUS_SRC_ALPHA);
        glBlendEquationSeparate(equation(state.colorEquation), equation(state.alphaEquation));
    }
    if (state.depth == DepthTest::None) {
        glDisable(GL_DEPTH_TEST);
    } else {
        glEnable(GL_DEPTH_TEST);
        glDepthFunc(GL_LEQUAL);
        glDepthMask(state.depth == DepthTest::ReadWrite);
    }
    if (state.culling == Culling::None) {
        glDisable(GL_CULL_FACE);
    } else {
        glEnable(GL_CULL_FACE);
        glFrontFace(GL_CW); // counter-clockwise, upside down
        glCullFace(state.culling == Culling::BackFaces ? GL_BACK : GL_FRONT);
    }
    glColorMask(state.colorMask & 1, state.colorMask & 2, state.colorMask & 4, state.colorMask & 8);
}

void GLCanvas::beginImage(int width, int height, bool depth, bool deep)
{
    if (!gathered_.empty()) // the ground may wait for more of it
        flush();
    auto texture = Texture::fitting(width, height, deep ? Texture::Format::Halves : Texture::Format::Bytes);
    occlusion_.forget();
    targets_.emplace_back(texture ? texture : targets_.back().texture(), width, height, depth);
    filters_->format = targets_.back().texture()->format();
}

ImageRef GLCanvas::endImage()
{
    flush();
    auto image = std::make_shared<DrawnImage>(targets_.back().width, targets_.back().height);
    targets_.back().resolved();
    auto levels = std::make_shared<TextureLevels>(false);
    levels->keep(0, targets_.back().texture());
    image->realization = levels;
    targets_.pop_back();
    filters_->format = targets_.back().texture()->format();
    occlusion_.forget();
    return image;
}

void GLCanvas::showIn(unsigned framebuffer, int width, int height)
{
    flush();
    glDisable(GL_SCISSOR_TEST);
    glColorMask(true, true, true, true);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, targets_.front().resolved());
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
    if (framebuffer == 0)
        glDrawBuffer(GL_BACK); // none, in a context that was first current without a window
    const Texture& shown = *targets_.front().texture();
    glBlitFramebuffer(0, 0, shown.width(), shown.height(), 0, height, width, 0, GL_COLOR_BUFFER_BIT,
        shown.width() == width && shown.height() == height ? GL_NEAREST : GL_LINEAR);
}

void GLCanvas::finish()
{
    flush();
    glFinish();
}

void GLCanvas::readInto(std::uint32_t* pixels, std::size_t wordsPerRow)
{
    flush();
    glBindFramebuffer(GL_READ_FRAMEBUFFER, targets_.front().resolved());
    glPixelStorei(GL_PACK_ROW_LENGTH, static_cast<GLint>(wordsPerRow));
    glReadPixels(0, 0, pixelsWide(), pixelsHigh(), GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, pixels);
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);
}

} // namespace vitrel::qc
