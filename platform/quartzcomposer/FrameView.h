#pragma once

#include "base/Result.h"
#include "platform/quartzcomposer/QCView.h"

#include <limits>
#include <memory>
#include <string>

namespace vitrel {

namespace qc {
class CompositionGraph;
class FrameObserver;
struct CompositionFile;
class GLCanvas;
struct InputDescription;
class Stage;
} // namespace qc

// The view that plays compositions frame by frame, at the times that its owner says, into a picture of its own, with
// smooth edges. No run loop drives it, so that it plays the same on any machine, if not as fast: what lies beside a
// composition is read in the frame that asks for it (for the whole process, from the first such view on). Main thread.
class FrameView final : public QCView
{
public:
    // Pixels.
    FrameView(int width, int height);
    ~FrameView() override;

    bool loadCompositionFromFile(const std::string& path) override;
    void unloadComposition() override;
    void play(const Value&) override { startRendering(); }
    bool startRendering() override { return rendering_ = graph_ != nullptr; }
    void pauseRendering() override { rendering_ = false; }
    void stopRendering() override { rendering_ = false; }
    bool isRendering() const override { return rendering_; }
    void setMaxRenderingFrameRate(double) override { }
    void setAutostartsRendering(bool) override { }
    void setEventForwardingMask(std::uint64_t) override { }
    std::vector<std::string> inputKeys() const override;
    bool setValueForInputKey(const Value& value, const std::string& key) override;
    Value valueForInputKey(const std::string& key) const override;

    // Ahead of the first frame: whether edges are smooth, which they are if nothing is said.
    void setSmoothsEdges(bool smooths) { smooths_ = smooths; }

    // Published inputs of the loaded composition; none without one.
    std::vector<qc::InputDescription> describedInputs() const;

    // Called after each composition that was loaded, before it plays.
    std::function<void()> onLoad;

    // One frame, `time` seconds into the composition. False if nothing was drawn: there is no composition, or no
    // OpenGL.
    bool drawFrame(double time, Date date, const SoundHeard& heard);
    // When the next can differ from it; infinity: not before an input does.
    double next() const { return next_; }
    // Waits until the last frame has been drawn.
    void finish();
    // The last frame, as a screen shows it: what it left transparent is black. To `pixels`, top row first.
    void readInto(std::uint32_t* pixels);
    int width() const { return width_; }
    int height() const { return height_; }

    // Shows the frames from now on to somebody; null to nobody.
    void observe(qc::FrameObserver* observer);

private:
    const int width_, height_;
    std::unique_ptr<qc::CompositionFile> file_;
    std::unique_ptr<qc::CompositionGraph> graph_;
    std::unique_ptr<qc::GLCanvas> canvas_;
    std::unique_ptr<qc::Stage> stage_;
    qc::FrameObserver* observer_ = nullptr;
    double next_ = std::numeric_limits<double>::infinity();
    bool rendering_ = false, smooths_ = true;
};

} // namespace vitrel
