#include "platform/quartzcomposer/FrameView.h"

#include "platform/quartzcomposer/EdgeSmoothing.h"
#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/graph/CompositionGraph.h"
#include "platform/quartzcomposer/graph/InputDescription.h"
#include "platform/quartzcomposer/loading/LoadQueue.h"

#include <algorithm>

namespace vitrel {

namespace {

const qc::PatchRegistry& registry()
{
    static const auto* const all = new qc::PatchRegistry(qc::allPatches());
    return *all;
}

bool isHeard(const SoundHeard& heard)
{
    return heard.peak > 0
        || std::any_of(heard.spectrum.begin(), heard.spectrum.end(), [](double level) { return level > 0; });
}

} // namespace

FrameView::FrameView(int width, int height)
    : width_(width)
    , height_(height)
{
    qc::loadAtOnce();
}

FrameView::~FrameView() = default;

bool FrameView::loadCompositionFromFile(const std::string& path)
{
    unloadComposition();
    auto file = qc::readCompositionFile(path);
    if (!file)
        return false;
    file_ = std::make_unique<qc::CompositionFile>(std::move(*file));
    graph_ = std::make_unique<qc::CompositionGraph>(*file_, registry());
    graph_->observe(observer_);
    if (onLoad)
        onLoad();
    return true;
}

void FrameView::unloadComposition()
{
    rendering_ = false;
    stage_.reset();
    canvas_.reset();
    graph_.reset();
    file_.reset();
}

std::vector<qc::InputDescription> FrameView::describedInputs() const
{
    return graph_ ? qc::describedInputs(*file_, *graph_, registry()) : std::vector<qc::InputDescription>();
}

std::vector<std::string> FrameView::inputKeys() const
{
    std::vector<std::string> keys;
    if (graph_) {
        for (auto& port : graph_->inputs())
            keys.push_back(std::move(port.key));
    }
    return keys;
}

bool FrameView::setValueForInputKey(const Value& value, const std::string& key)
{
    return graph_ && graph_->setInput(key, value);
}

Value FrameView::valueForInputKey(const std::string& key) const
{
    return graph_ ? graph_->input(key) : Value();
}

void FrameView::observe(qc::FrameObserver* observer)
{
    observer_ = observer;
    if (graph_)
        graph_->observe(observer);
}

bool FrameView::drawFrame(double time, Date date, const SoundHeard& heard)
{
    if (!graph_)
        return false;
    if (!canvas_) {
        canvas_ = qc::GLCanvas::make(width_, height_, graph_->needsDepth());
        if (!canvas_ || !canvas_->resize(width_, height_, 1, smooths_ ? EdgeSmoothing::kSamples : 0)) {
            canvas_.reset();
            return false;
        }
        stage_ = std::make_unique<qc::Stage>(*canvas_);
        canvas_->clear({0, 0, 0, 1}, true, true, 0xF);
    }
    graph_->hear({heard, !isHeard(heard)});
    if (onFrame)
        onFrame(heard);
    next_ = graph_->frame(*stage_, time, date).next;
    if (onFrameDrawn)
        onFrameDrawn();
    return true;
}

void FrameView::finish()
{
    if (canvas_)
        canvas_->finish();
}

void FrameView::readInto(std::uint32_t* pixels)
{
    const std::size_t count = std::size_t(width_) * std::size_t(height_);
    if (canvas_)
        canvas_->readInto(pixels, std::size_t(width_));
    else
        std::fill_n(pixels, count, 0u);
    for (std::size_t k = 0; k < count; ++k)
        pixels[k] |= 0xFF000000u;
}

} // namespace vitrel
