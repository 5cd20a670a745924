#pragma once

#include "platform/appkit/SmoothEnlarging.h"
#include "platform/quartzcomposer/drawing/FilterRenderer.h"
#include "platform/quartzcomposer/drawing/Occlusion.h"
#include "platform/quartzcomposer/drawing/Program.h"
#include "platform/quartzcomposer/drawing/ShaderRenderer.h"
#include "platform/quartzcomposer/drawing/Target.h"
#include "platform/quartzcomposer/drawing/Workload.h"
#include "platform/quartzcomposer/scene/Canvas.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace vitrel::qc {

// A canvas on OpenGL. Everything is drawn upside down into textures, so that the first row of memory is the top of
// the picture on the way in and out. Calls that share their state are joined into one. Main thread.
class GLCanvas final : public Canvas
{
public:
    // Null without OpenGL.
    static std::unique_ptr<GLCanvas> make(int width, int height, bool depth);
    ~GLCanvas() override;

    int width() const override { return targets_.back().width; }
    int height() const override { return targets_.back().height; }
    int largestSide() const override;
    void clear(const NSColor& straight, bool color, bool depth, std::uint8_t colorMask) override;
    void draw(Primitive primitive, std::span<const CanvasVertex> vertices, const Paint& paint) override;
    void drawShared(Primitive primitive, std::span<const CanvasVertex> vertices, std::span<const std::uint16_t> corners,
        const Paint& paint) override;
    bool drawShaded(Primitive primitive, std::span<const ShaderVertex> vertices, const ShaderUse& use,
        const ShaderSurroundings& around, const Paint& paint) override;
    void beginFrame(std::chrono::steady_clock::time_point end) override;
    void beginImage(int width, int height, bool depth, bool deep) override;
    void finish() override;
    bool isLate() const override { return work_.isLate(); }
    ImageRef endImage() override;
    ImageRef realized(const ImageRef& image) override;

    // The outermost target anew, with the old picture in it as far as the sizes allow. With a `divisor` it has only so
    // many pixels fewer each way, rounded up, and a composition doesn't notice. With `samples` for each pixel edges are
    // smooth; without, if OpenGL has fewer. False if OpenGL can't.
    bool resize(int width, int height, int divisor = 1, int samples = 0);
    // True once something was drawn on the outermost target that has other edges than those of upright rectangles.
    bool hasRoughEdges() const { return roughEdges_; }
    int divisor() const { return divisor_; }
    // Of the outermost target's memory, for readInto.
    int pixelsWide() const { return targets_.front().texture()->width(); }
    int pixelsHigh() const { return targets_.front().texture()->height(); }
    // Draws what has been gathered and copies the outermost target's pixels; `wordsPerRow` of the memory.
    void readInto(std::uint32_t* pixels, std::size_t wordsPerRow);
    // Draws what has been gathered and copies the outermost target into a framebuffer that has its origin at the
    // bottom.
    void showIn(unsigned framebuffer, int width, int height);
    // False once the context that it was made on is gone.
    bool valid() const;
    // Calls that were sent to OpenGL; for benchmarks.
    std::uint64_t drawCalls() const { return drawCalls_; }

private:
    // What must be equal for two calls to be one.
    struct State {
        TextureRef texture, mask;
        Primitive primitive = Primitive::Triangles; // or lines of one pixel, which OpenGL draws itself
        unsigned variant = 0;
        Blending blending = Blending::Over;
        DepthTest depth = DepthTest::None;
        Culling culling = Culling::None;
        std::uint8_t colorMask = 0xF;
        bool nearest = false;
        BlendEquation colorEquation = BlendEquation::Add, alphaEquation = BlendEquation::Add;
        float discardsUpTo = 0;
        std::optional<PixelRectangle> scissor;
        friend bool operator==(const State&, const State&) = default;
    };

    // What the fragment shader does beyond nothing. The barest one that will do is chosen: software renderers have a
    // fast path for plain sampling.
    enum Variant : unsigned { kTextured = 1, kColored = 2, kMasked = 4, kAlphaTested = 8 };
    // A smooth picture among the first that are drawn.
    struct GroundLayer {
        State state;
        std::array<CanvasVertex, 6> corners;
        friend bool operator==(const GroundLayer&, const GroundLayer&) = default;
    };

    GLCanvas() = default;
    static std::string fragmentShader(unsigned variant);
    bool begin(int width, int height, bool depth);
    void flush();
    void apply(const State& state);
    void applyModes(const State& state);
    void cutTo(const PixelRectangle& area) const;
    const Program& program(unsigned variant);
    std::optional<State> stateFor(
        std::span<const CanvasVertex> vertices, std::span<const CanvasVertex> first, const Paint& paint);
    void gather(std::span<const CanvasVertex> vertices, std::span<const std::uint16_t> corners, const State& state,
        bool mayComeEarlier);
    void gatherInTurn(std::span<const CanvasVertex> corners);
    void forgetGathered();
    void send(unsigned target, std::size_t& room, const void* data, std::size_t size);
    void sortSolids();
    void drawGathered();
    TextureRef masked(const TextureRef& image, const TextureRef& mask);
    bool openGround(const NSColor& straight);
    bool isGround(std::span<const CanvasVertex> corners, const Paint& paint, const State& state) const;
    void layGround();
    bool drawGround(std::vector<GroundLayer>& layers);
    static void setClearColor(const NSColor& straight);
    static bool areUpright(std::span<const CanvasVertex> triangles);
    std::vector<CanvasVertex> widened(Primitive primitive, std::span<const CanvasVertex> vertices, float size) const;
    double pixelsOf(const CanvasVertex& a, const CanvasVertex& b, const CanvasVertex& c) const;
    double pixelsOf(const CanvasVertex& from, const CanvasVertex& to) const;
    struct Density {
        double least, most;
    };
    Density texelsPerPixel(std::span<const CanvasVertex> vertices, const Extent& extent) const;

    std::vector<Target> targets_;
    Workload work_; // ahead of the filters, which share it
    std::array<std::unique_ptr<Program>, 16> programs_;
    std::unique_ptr<FilterRenderer> filters_;
    std::unique_ptr<ShaderRenderer> shaders_; // once there is an author's program
    unsigned vertexArray_ = 0, buffer_ = 0, orderBuffer_ = 0;
    std::size_t room_ = 0, orderRoom_ = 0; // bytes that the buffers have
    State state_;
    std::vector<CanvasVertex> gathered_;
    std::vector<std::uint32_t> order_, sorted_; // numbers of the gathered; none if they come as they are
    // Calls among the gathered, if all of them may come in the order of their distance.
    struct Solid {
        float nearest;
        std::size_t base, endOfVertices, first, end; // of the gathered, and of their order
    };
    std::vector<Solid> solids_;
    Occlusion occlusion_; // on the present target
    bool anyOrder_ = true;
    // Pictures that are shown through the same mask from frame to frame, and what becomes of both.
    struct Masked {
        TextureRef image, mask, both;
        int frames = 0;
        bool isShown = true; // in this frame
    };
    std::vector<Masked> masked_;
    // Since the outermost target was to be cleared nothing but smooth layers came. All that waits; and the last ground.
    bool isGroundOpen_ = false;
    NSColor groundColor_, lastGroundColor_;
    std::vector<GroundLayer> ground_, lastGround_;
    TextureRef groundTexture_;
    SmoothEnlarging groundPicture_;
    double gatheredPixels_ = 0;
    bool depth_ = false;
    int divisor_ = 1, samples_ = 0;
    bool roughEdges_ = false;
    std::uint64_t generation_ = 0, drawCalls_ = 0;
    std::size_t sent_ = 0; // bytes since the driver last had to finish
};

} // namespace vitrel::qc
