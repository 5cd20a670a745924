// What a canvas gathers until it has to draw: calls of one state are one call to OpenGL.
#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace vitrel::qc {

namespace {

// Gathered vertices, and numbers of vertices; more are sent on their own.
constexpr std::size_t kMaxGathered = 150'000, kMaxOrdered = 4 * kMaxGathered;
// Bytes that the driver may keep for later; no frame that is meant to be seen has as many.
constexpr std::size_t kMaxSent = 32u << 20;

GLenum modeOf(Primitive primitive)
{
    return primitive == Primitive::Lines ? GL_LINES : GL_TRIANGLES;
}

} // namespace

// `corners` are numbers of vertices; none for the vertices as they come.
void GLCanvas::gather(std::span<const CanvasVertex> vertices, std::span<const std::uint16_t> corners,
    const State& state, bool mayComeEarlier)
{
    const bool anyOrder = mayComeEarlier && state.blending == Blending::Replace && state.depth == DepthTest::ReadWrite
        && !state.texture && !state.mask && !state.scissor;
    const std::size_t step = state.primitive == Primitive::Lines ? 2 : 3,
                      count = (corners.empty() ? vertices.size() : corners.size()) / step * step;
    if (!(state == state_) || gathered_.size() + vertices.size() > kMaxGathered || order_.size() + count > kMaxOrdered
        || (anyOrder_ && !anyOrder)) {
        flush();
        state_ = state;
    }
    anyOrder_ = anyOrder_ && anyOrder;
    if (!anyOrder_ && corners.empty() && order_.empty())
        return gatherInTurn(vertices.first(count));
    if (order_.empty()) {
        order_.resize(gathered_.size());
        std::iota(order_.begin(), order_.end(), 0u);
    }
    const auto base = static_cast<std::uint32_t>(gathered_.size());
    const std::size_t first = order_.size();
    gathered_.insert(gathered_.end(), vertices.begin(), vertices.end());
    for (std::size_t k = 0; k < count; ++k)
        order_.push_back(base + (corners.empty() ? static_cast<std::uint32_t>(k) : corners[k]));
    if (!anyOrder_)
        return;
    // What of it will cost anything shows once all are there.
    Solid solid{1e9f, base, gathered_.size(), first, order_.size()};
    for (const CanvasVertex& vertex : vertices)
        solid.nearest = std::min(solid.nearest, vertex.position[2] / std::max(vertex.position[3], 1e-6f));
    solids_.push_back(solid);
}

void GLCanvas::gatherInTurn(std::span<const CanvasVertex> corners)
{
    const State state = state_;
    const bool areLines = state.primitive == Primitive::Lines;
    const std::size_t step = areLines ? 2 : 3;
    for (std::size_t k = 0; k + step <= corners.size() && !work_.isLate(); k += step) {
        const CanvasVertex* const v = &corners[k];
        gathered_.insert(gathered_.end(), v, v + step);
        gatheredPixels_ += areLines ? pixelsOf(v[0], v[1]) : pixelsOf(v[0], v[1], v[2]);
        if (gatheredPixels_ > Workload::kPixels) {
            flush();
            state_ = state;
            anyOrder_ = false;
        }
    }
}

// What is nearest first: the rest is then hidden before it costs anything.
void GLCanvas::sortSolids()
{
    std::stable_sort(
        solids_.begin(), solids_.end(), [](const Solid& a, const Solid& b) { return a.nearest < b.nearest; });
    sorted_.clear();
    for (const Solid& solid : solids_)
        occlusion_.show(std::span(gathered_).subspan(solid.base, solid.endOfVertices - solid.base),
            static_cast<std::uint32_t>(solid.base), std::span(order_).subspan(solid.first, solid.end - solid.first),
            sorted_);
    order_.swap(sorted_);
}

// A software renderer has read a buffer when a call returns, and memory that it has is cheaper than new one. A card may
// still be reading.
void GLCanvas::send(unsigned target, std::size_t& room, const void* data, std::size_t size)
{
    const GLContext* const context = GLContext::current();
    if (context && context->software() && size <= room) {
        glBufferSubData(target, 0, static_cast<GLsizeiptr>(size), data);
    } else {
        glBufferData(target, static_cast<GLsizeiptr>(size), data, GL_STREAM_DRAW);
        room = size;
    }
    sent_ += size;
}

// In pieces that are worth a look at the clock.
void GLCanvas::drawGathered()
{
    const GLenum mode = modeOf(state_.primitive);
    if (order_.empty()) {
        glDrawArrays(mode, 0, static_cast<GLsizei>(gathered_.size()));
        ++drawCalls_;
        return;
    }
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, orderBuffer_);
    send(GL_ELEMENT_ARRAY_BUFFER, orderRoom_, order_.data(), order_.size() * sizeof order_[0]);
    const std::size_t step = mode == GL_LINES ? 2 : 3;
    std::size_t first = 0;
    for (std::size_t k = 0; k + step <= order_.size() && !work_.isLate(); k += step) {
        const CanvasVertex &a = gathered_[order_[k]], &b = gathered_[order_[k + 1]];
        gatheredPixels_ += step == 2 ? pixelsOf(a, b) : pixelsOf(a, b, gathered_[order_[k + 2]]);
        if (gatheredPixels_ <= Workload::kPixels && k + 2 * step <= order_.size())
            continue;
        glDrawElements(mode, static_cast<GLsizei>(k + step - first), GL_UNSIGNED_INT,
            reinterpret_cast<const void*>(first * sizeof order_[0]));
        ++drawCalls_;
        first = k + step;
        work_.spend(std::exchange(gatheredPixels_, 0));
    }
}

void GLCanvas::forgetGathered()
{
    gathered_.clear();
    order_.clear();
    solids_.clear();
    anyOrder_ = true;
    state_ = {};
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
    send(GL_ARRAY_BUFFER, room_, gathered_.data(), gathered_.size() * sizeof gathered_[0]);
    if (solids_.empty() || !order_.empty())
        drawGathered();
    if (sent_ > kMaxSent) {
        glFinish();
        sent_ = 0;
    }
    forgetGathered();
    work_.spend(std::exchange(gatheredPixels_, 0));
}

} // namespace vitrel::qc
