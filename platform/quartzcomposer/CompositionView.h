#pragma once

#include "platform/appkit/Bitmap.h"
#include "platform/appkit/Surface.h"
#include "platform/foundation/RunLoop.h"
#include "platform/quartzcomposer/DrawingResolution.h"
#include "platform/quartzcomposer/EdgeSmoothing.h"
#include "platform/quartzcomposer/QCView.h"
#include "platform/sound/SoundInput.h"

#include <functional>
#include <memory>

namespace vitrel {

namespace qc {
struct CompositionAbout;
class CompositionGraph;
struct CompositionFile;
struct InputDescription;
class GLCanvas;
class PatchRegistry;
class Stage;
class WindowPresenter;
} // namespace qc

class Notice;

// The view that plays compositions for real: it draws into a texture from a timer of the run loop, only when
// something can have changed, and hands each picture to the surface of its window. Without a window, or without
// OpenGL, it plays nothing and still keeps its inputs. Main thread.
class CompositionView : public QCView
{
public:
    // The run loop must outlive the view, and so must `sound`, which is listened to while a composition plays that asks
    // for it and somebody can see it; null: all is silent.
    explicit CompositionView(RunLoop& runLoop, SoundInput* sound = nullptr);
    ~CompositionView() override;

    bool loadCompositionFromFile(const std::string& path) override;
    void unloadComposition() override;
    void play(const Value& sender) override;
    bool startRendering() override;
    void pauseRendering() override;
    void stopRendering() override;
    bool isRendering() const override { return rendering_; }
    void setMaxRenderingFrameRate(double rate) override;
    void setAutostartsRendering(bool autostarts) override { autostarts_ = autostarts; }
    void setEventForwardingMask(std::uint64_t mask) override { eventMask_ = mask; }
    std::vector<std::string> inputKeys() const override;
    bool setValueForInputKey(const Value& value, const std::string& key) override;
    Value valueForInputKey(const std::string& key) const override;

    void setFrame(NSRect frame) override;
    void removeFromSuperview() override;
    void viewDidMoveToWindow() override;

    // Called after each composition that was loaded, before it plays.
    std::function<void()> onLoad;
    // Called after the first picture was handed to a surface.
    std::function<void()> onFirstFrame;

    // Of the loaded composition's file; empty without one.
    std::string path() const;
    // What it says of itself, and what it lacks here.
    qc::CompositionAbout about() const;
    // Published inputs of the loaded composition; none without one.
    std::vector<qc::InputDescription> describedInputs() const;

    // A few small lines over the picture, until they are taken away with an empty text; they stay when a composition is
    // loaded. For whoever makes one.
    void setNotice(std::string text);

    // Pictures handed to surfaces so far.
    std::uint64_t framesShown() const { return framesShown_; }
    // Patches computed so far.
    std::uint64_t evaluations() const { return evaluations_; }

private:
    void schedule(Seconds when);
    void wish();
    void renderFrame();
    void hear();
    void listenIfWanted();
    bool show(Surface& surface);
    bool prepareCanvas(int width, int height, int divisor, int samples);
    Seconds beat() const;
    double compositionTime() const;

    RunLoop& runLoop_;
    SoundInput* const sound_;
    std::shared_ptr<void> listening_; // null: it doesn't
    bool publishesSound_ = false, soundRests_ = true;
    bool feeds_ = false; // within onFrame
    std::unique_ptr<qc::CompositionFile> file_;
    std::unique_ptr<qc::CompositionGraph> graph_;
    std::unique_ptr<qc::GLCanvas> canvas_;
    std::unique_ptr<qc::Stage> stage_;
    std::unique_ptr<Notice> notice_; // null: nobody has ever set one
    std::unique_ptr<qc::WindowPresenter> presenter_;
    NativeWindow presenterAsked_; // the window that a presenter was last wanted for
    DrawingResolution resolution_;
    EdgeSmoothing smoothing_;
    Bitmap small_; // a picture of fewer pixels than the surface's
    bool rests_ = true; // after the last frame, the composition stood still
    std::shared_ptr<NSTimer> timer_;
    Seconds due_{0}; // of the timer
    bool rendering_ = false, autostarts_ = true, started_ = false;
    Seconds epoch_{0}; // when the composition's time was 0
    Seconds pausedAt_{0};
    Seconds lastFrame_{-1e9};
    int refusals_ = 0; // of the surface, in a row
    double rate_ = 60;
    std::uint64_t eventMask_ = ~0ull, framesShown_ = 0, evaluations_ = 0;
};

} // namespace vitrel
