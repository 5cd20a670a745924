#include "platform/quartzcomposer/CompositionView.h"

#include "platform/appkit/ImageScaling.h"
#include "platform/appkit/NSWindow.h"
#include "platform/quartzcomposer/Notice.h"
#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/drawing/WindowPresenter.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/graph/CompositionAbout.h"
#include "platform/quartzcomposer/graph/CompositionGraph.h"
#include "platform/quartzcomposer/graph/InputDescription.h"

#include <algorithm>
#include <cmath>

namespace vitrel {

namespace {

constexpr double kFastest = 60; // frames a second
constexpr Seconds kLookAgain{0.25}; // while the window is hidden
// Refusals of the surface, in a row: then it is looked at less often, and two seconds later nothing is heard any more.
// A connection to a sound server isn't to come and go with a display that is slow.
constexpr int kRefusalsOfHidden = 6, kRefusalsUntilDeaf = kRefusalsOfHidden + 8;
constexpr double kRest = 0.25; // seconds until the next frame from which on a composition stands still

const qc::PatchRegistry& registry()
{
    static const auto* const all = new qc::PatchRegistry(qc::allPatches());
    return *all;
}

bool drawsByProcessor()
{
    const qc::GLContext* const context = qc::GLContext::current();
    return context && context->software();
}

} // namespace

CompositionView::CompositionView(RunLoop& runLoop, SoundInput* sound)
    : runLoop_(runLoop)
    , sound_(sound)
{ }

CompositionView::~CompositionView()
{
    if (timer_)
        timer_->invalidate();
}

bool CompositionView::loadCompositionFromFile(const std::string& path)
{
    unloadComposition();
    auto file = qc::readCompositionFile(path);
    if (!file)
        return false;
    file_ = std::make_unique<qc::CompositionFile>(std::move(*file));
    graph_ = std::make_unique<qc::CompositionGraph>(*file_, registry());
    publishesSound_ = false;
    for (const auto& port : graph_->inputs())
        publishesSound_ |= isProtocolInput(port.key, "AudioPeak") || isProtocolInput(port.key, "AudioSpectrum");
    if (onLoad)
        onLoad();
    if (autostarts_ && window())
        startRendering();
    return true;
}

void CompositionView::unloadComposition()
{
    stopRendering();
    graph_.reset();
    file_.reset();
}

void CompositionView::play(const Value&)
{
    startRendering();
}

bool CompositionView::startRendering()
{
    if (!graph_)
        return false;
    if (rendering_)
        return true;
    const Seconds now = runLoop_.clock().now();
    epoch_ = started_ ? epoch_ + (now - pausedAt_) : now;
    started_ = rendering_ = true;
    listenIfWanted();
    wish();
    return true;
}

void CompositionView::pauseRendering()
{
    if (!rendering_)
        return;
    rendering_ = false;
    pausedAt_ = runLoop_.clock().now();
    listenIfWanted();
    if (timer_)
        timer_->invalidate();
}

void CompositionView::stopRendering()
{
    pauseRendering();
    started_ = false;
    stage_.reset();
    canvas_.reset();
    presenter_.reset();
    presenterAsked_ = {};
    resolution_.forget();
    smoothing_.forget();
    rests_ = true;
}

void CompositionView::setMaxRenderingFrameRate(double rate)
{
    rate_ = std::isfinite(rate) && rate > 0 ? std::min(rate, kFastest) : kFastest;
}

std::vector<std::string> CompositionView::inputKeys() const
{
    std::vector<std::string> keys;
    if (graph_) {
        for (auto& port : graph_->inputs())
            keys.push_back(std::move(port.key));
    }
    return keys;
}

bool CompositionView::setValueForInputKey(const Value& value, const std::string& key)
{
    if (!graph_ || !graph_->setInput(key, value))
        return false;
    wish();
    return true;
}

Value CompositionView::valueForInputKey(const std::string& key) const
{
    return graph_ ? graph_->input(key) : Value();
}

std::string CompositionView::path() const
{
    return file_ ? file_->path : std::string();
}

qc::CompositionAbout CompositionView::about() const
{
    return file_ ? qc::aboutComposition(*file_, registry()) : qc::CompositionAbout();
}

std::vector<qc::InputDescription> CompositionView::describedInputs() const
{
    return graph_ ? qc::describedInputs(*file_, *graph_, registry()) : std::vector<qc::InputDescription>();
}

void CompositionView::setNotice(std::string text)
{
    if (!notice_ && text.empty())
        return;
    if (!notice_)
        notice_ = std::make_unique<Notice>();
    notice_->set(std::move(text));
    wish();
}

void CompositionView::setFrame(NSRect frame)
{
    QCView::setFrame(frame);
    wish();
}

void CompositionView::removeFromSuperview()
{
    QCView::removeFromSuperview();
    listenIfWanted();
    if (timer_)
        timer_->invalidate();
}

void CompositionView::viewDidMoveToWindow()
{
    QCView::viewDidMoveToWindow();
    if (!window())
        return;
    if (autostarts_ && graph_ && !rendering_ && !started_)
        startRendering();
    listenIfWanted();
    wish();
}

Seconds CompositionView::beat() const
{
    return Seconds(1 / rate_);
}

double CompositionView::compositionTime() const
{
    return std::max(0.0, (runLoop_.clock().now() - epoch_).count());
}

void CompositionView::wish()
{
    if (rendering_ && !feeds_)
        schedule(runLoop_.clock().now());
}

void CompositionView::schedule(Seconds when)
{
    if (!window())
        return;
    when = std::max(when, lastFrame_ + beat());
    if (timer_ && timer_->isValid()) {
        if (due_ <= when)
            return;
        timer_->invalidate();
    }
    due_ = when;
    timer_ = runLoop_.scheduledTimer(std::max(when - runLoop_.clock().now(), Seconds(0)), false, [this] {
        const auto self = shared_from_this(); // the frame may end in the view's removal
        renderFrame();
    });
}

void CompositionView::listenIfWanted()
{
    const bool isWanted = sound_ && graph_ && rendering_ && window() && refusals_ < kRefusalsUntilDeaf
        && (publishesSound_ || graph_->listens());
    if (isWanted == bool(listening_))
        return;
    soundRests_ = true;
    if (!isWanted)
        return listening_.reset();
    listening_ = sound_->listen([weak = weak_from_this()] {
        if (const auto self = std::static_pointer_cast<CompositionView>(weak.lock()))
            self->wish();
    });
    if (!sound_->rests())
        wish();
}

// One look a frame, for all that is in it.
void CompositionView::hear()
{
    qc::Hearing hearing;
    if (listening_)
        hearing = {sound_->hear(), sound_->rests()};
    soundRests_ = hearing.rests;
    graph_->hear(hearing);
    if (!onFrame)
        return;
    feeds_ = true;
    onFrame(hearing.heard);
    feeds_ = false;
}

bool CompositionView::prepareCanvas(int width, int height, int divisor, int samples)
{
    if (canvas_ && canvas_->resize(width, height, divisor, samples))
        return true;
    stage_.reset();
    canvas_.reset();
    canvas_ = qc::GLCanvas::make(width, height, graph_->needsDepth());
    if (!canvas_)
        return false;
    stage_ = std::make_unique<qc::Stage>(*canvas_);
    canvas_->clear({0, 0, 0, 1}, true, true, 0xF);
    return true;
}

bool CompositionView::show(Surface& surface)
{
    if (presenter_ && presenter_->present(*canvas_))
        return true;
    presenter_.reset();
    const FrameMemory memory = surface.frameMemory();
    if (!memory.pixels)
        return false;
    if (const int divisor = canvas_->divisor(); divisor > 1) {
        small_.width = canvas_->pixelsWide();
        small_.height = canvas_->pixelsHigh();
        small_.pixels.resize(std::size_t(small_.width) * std::size_t(small_.height));
        canvas_->readInto(small_.pixels.data(), std::size_t(small_.width));
        enlarge(small_, divisor, memory.pixels, surface.width(), memory.wordsPerRow, 0, surface.height());
    } else {
        canvas_->readInto(memory.pixels, memory.wordsPerRow);
    }
    surface.present();
    return true;
}

void CompositionView::renderFrame()
{
    NSWindow* const window = this->window();
    Surface* const surface = window ? window->surface() : nullptr;
    if (!rendering_ || !graph_ || !surface)
        return;
    const Seconds now = runLoop_.clock().now();
    // On the beat, as long as the machine keeps up.
    lastFrame_ = now - lastFrame_ < beat() * 1.5 && due_ <= now ? std::max(due_, lastFrame_) : now;
    if (!surface->wantsFrame()) {
        // The last frame is on its way to the screen, or nobody would see this one.
        ++refusals_;
        listenIfWanted();
        schedule(now + (refusals_ < kRefusalsOfHidden ? beat() : kLookAgain));
        return;
    }
    refusals_ = 0;
    listenIfWanted();
    if (const NativeWindow native = surface->nativeWindow(); native.window && !(native == presenterAsked_)) {
        presenterAsked_ = native;
        presenter_ = qc::WindowPresenter::make(native);
    }
    // What stands still is looked at more closely than what moves.
    const int divisor = rests_ ? 1 : resolution_.divisor();
    const bool smooths = divisor == 1 && smoothing_.wanted(rests_, drawsByProcessor());
    if (surface->width() < 1 || surface->height() < 1
        || !prepareCanvas(surface->width(), surface->height(), divisor, smooths ? EdgeSmoothing::kSamples : 0)) {
        schedule(now + kLookAgain);
        return;
    }
    const double time = compositionTime();
    hear();
    auto frame = graph_->frame(*stage_, time, runLoop_.clock().date());
    evaluations_ += frame.evaluations;
    if (publishesSound_ && !soundRests_)
        frame.next = time;
    if (notice_)
        notice_->draw(*stage_);
    if (onFrameDrawn)
        onFrameDrawn();
    listenIfWanted();
    const bool isShown = show(*surface);
    if (isShown && framesShown_++ == 0 && onFirstFrame)
        onFirstFrame();
    rests_ = frame.next > time + kRest;
    if (canvas_->hasRoughEdges())
        smoothing_.sawEdges();
    if (isShown && !rests_ && divisor == 1)
        smoothing_.drew(smooths, runLoop_.clock().now() - now);
    const bool wouldSmooth = !smooths && smoothing_.wanted(true, true);
    if (rests_ && (canvas_->divisor() > 1 || wouldSmooth))
        wish();
    else if (!rests_ && isShown && !presenter_ && surface->prefersSmoothness() && drawsByProcessor())
        resolution_.drew(now, runLoop_.clock().now() - now, surface->height());
    if (std::isfinite(frame.next))
        schedule(epoch_ + Seconds(frame.next));
}

} // namespace vitrel
