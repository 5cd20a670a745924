#include "platform/quartzcomposer/drawing/GLCanvas.h"

#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace vitrel::qc {

namespace {

// Gathered corners; more are sent on their own.
constexpr std::size_t kMaxGathered = 150'000;
// Bytes of corners that the driver may keep for later; no frame that is meant to be seen has as many.
constexpr std::size_t kMaxSent = 32u << 20;
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

bool finite(const CanvasVertex& v)
{
    return std::all_of(std::begin(v.position), std::end(v.position), [](float f) { return std::isfinite(f); })
        && std::all_of(std::begin(v.texture), std::end(v.texture), [](float f) { return std::isfinite(f); })
        && std::all_of(std::begin(v.color), std::end(v.color), [](float f) { return std::isfinite(f); });
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
    glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    const auto attribute = [](unsigned index, int size, std::size_t offset) {
        glEnableVertexAttribArray(index);
        glVertexAttribPointer(
            index, size, GL_FLOAT, GL_FALSE, sizeof(CanvasVertex), reinterpret_cast<const void*>(offset));
    };
    attribute(0, 4, offsetof(CanvasVertex, position));
    attribute(1, 2, offsetof(CanvasVertex, texture));
    attribute(2, 4, offsetof(CanvasVertex, color));
    filters_ = std::make_unique<FilterRenderer>(work_);
    return true;
}

GLCanvas::~GLCanvas()
{
    if (!valid())
        return;
    glDeleteBuffers(1, &buffer_);
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
    gathered_.clear();
    solids_.clear();
    anyOrder_ = true;
    gatheredPixels_ = 0;
    state_ = {};
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

void GLCanvas::draw(Primitive primitive, std::span<const CanvasVertex> vertices, const Paint& paint)
{
    if (vertices.empty() || work_.isLate() || !std::all_of(vertices.begin(), vertices.end(), finite))
        return;
    State state;
    if (paint.image) {
        state.texture
            = filters_->texture(paint.image, width(), height(), texelsPerPixel(vertices, paint.image->extent()).least);
        if (!state.texture)
            return;
        state.variant |= kTextured;
    }
    if (paint.mask) {
        state.mask = filters_->texture(paint.mask, width(), height(), 1);
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
    const bool widens = primitive != Primitive::Triangles;
    const auto wide = widens ? widened(primitive, vertices, paint.lineWidth) : std::vector<CanvasVertex>();
    const std::span<const CanvasVertex> triangles = widens ? std::span<const CanvasVertex>(wide) : vertices;
    if (targets_.size() == 1) {
        roughEdges_ = roughEdges_ || !areUpright(triangles);
        if (isGroundOpen_ && isGround(triangles, paint, state)) {
            ground_.push_back({state, {}});
            std::copy_n(triangles.begin(), 6, ground_.back().corners.begin());
            return;
        }
        layGround();
    }
    gather(triangles, state, paint.mayComeEarlier);
}

// What is nearest first: the rest is then hidden before it costs anything.
void GLCanvas::sortSolids()
{
    std::stable_sort(
        solids_.begin(), solids_.end(), [](const Solid& a, const Solid& b) { return a.nearest < b.nearest; });
    sorted_.clear();
    for (const Solid& solid : solids_) {
        for (std::size_t k = solid.first; k + 3 <= solid.end; k += 3) {
            const CanvasVertex* const corners = &gathered_[k];
            if (occlusion_.isSeen(corners[0], corners[1], corners[2]))
                sorted_.insert(sorted_.end(), corners, corners + 3);
        }
        occlusion_.add(std::span(gathered_).subspan(solid.first, solid.end - solid.first));
    }
    gathered_.swap(sorted_);
}

void GLCanvas::gather(std::span<const CanvasVertex> vertices, const State& state, bool mayComeEarlier)
{
    const bool anyOrder = mayComeEarlier && state.blending == Blending::Replace && state.depth == DepthTest::ReadWrite
        && !state.texture && !state.mask && !state.scissor;
    if (!(state == state_) || gathered_.size() + vertices.size() > kMaxGathered || (anyOrder_ && !anyOrder)) {
        flush();
        state_ = state;
    }
    anyOrder_ = anyOrder_ && anyOrder;
    if (anyOrder_) {
        Solid solid{1e9f, gathered_.size(), gathered_.size() + vertices.size() / 3 * 3};
        for (const CanvasVertex& vertex : vertices)
            solid.nearest = std::min(solid.nearest, vertex.position[2] / std::max(vertex.position[3], 1e-6f));
        solids_.push_back(solid);
        // What of it will cost anything shows once all are there.
        gathered_.insert(
            gathered_.end(), vertices.begin(), vertices.begin() + static_cast<std::ptrdiff_t>(vertices.size() / 3 * 3));
        return;
    }
    for (std::size_t k = 0; k + 3 <= vertices.size() && !work_.isLate(); k += 3) {
        gathered_.insert(gathered_.end(), vertices.begin() + k, vertices.begin() + k + 3);
        gatheredPixels_ += pixelsOf(&vertices[k]);
        if (gatheredPixels_ > Workload::kPixels) {
            flush();
            state_ = state;
            anyOrder_ = false;
        }
    }
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

// In pieces that are worth a look at the clock.
void GLCanvas::drawGathered()
{
    if (solids_.empty()) {
        glDrawArrays(GL_TRIANGLES, 0, static_cast<GLsizei>(gathered_.size()));
        ++drawCalls_;
        return;
    }
    std::size_t first = 0;
    for (std::size_t k = 0; k + 3 <= gathered_.size() && !work_.isLate(); k += 3) {
        gatheredPixels_ += pixelsOf(&gathered_[k]);
        if (gatheredPixels_ <= Workload::kPixels && k + 6 <= gathered_.size())
            continue;
        glDrawArrays(GL_TRIANGLES, static_cast<GLint>(first), static_cast<GLsizei>(k + 3 - first));
        ++drawCalls_;
        first = k + 3;
        work_.spend(std::exchange(gatheredPixels_, 0));
    }
}

void GLCanvas::flush()
{
    if (targets_.size() == 1)
        layGround();
    if (gathered_.empty())
        return;
    if (!solids_.empty())
        sortSolids();
    if (state_.depth != DepthTest::None)
        targets_.back().wantDepth();
    targets_.back().bind();
    apply(state_);
    glBindVertexArray(vertexArray_);
    glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(gathered_.size() * sizeof(CanvasVertex)), gathered_.data(),
        GL_STREAM_DRAW);
    drawGathered();
    sent_ += gathered_.size() * sizeof(CanvasVertex);
    if (sent_ > kMaxSent) {
        glFinish();
        sent_ = 0;
    }
    gathered_.clear();
    solids_.clear();
    anyOrder_ = true;
    state_ = {};
    work_.spend(std::exchange(gatheredPixels_, 0));
}

void GLCanvas::beginImage(int width, int height, bool depth, bool deep)
{
    if (!gathered_.empty()) // the ground may wait for more of it
        flush();
    auto texture = Texture::fitting(width, height, deep ? Texture::Format::Halves : Texture::Format::Bytes);
    occlusion_.forget();
    targets_.emplace_back(texture ? std::move(texture) : targets_.back().texture(), width, height, depth);
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

void GLCanvas::readInto(std::uint32_t* pixels, std::size_t wordsPerRow)
{
    flush();
    glBindFramebuffer(GL_READ_FRAMEBUFFER, targets_.front().resolved());
    glPixelStorei(GL_PACK_ROW_LENGTH, static_cast<GLint>(wordsPerRow));
    glReadPixels(0, 0, pixelsWide(), pixelsHigh(), GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, pixels);
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);
}

} // namespace vitrel::qc
