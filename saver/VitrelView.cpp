#include "saver/VitrelView.h"

#include "platform/foundation/Surroundings.h"
#include "support/DisplayKit.h"

namespace vitrel {
namespace {

constexpr double kAnimationTimeInterval = 0.016666666666666666;
constexpr double kLoopInterval = 0.5;
constexpr double kFramesPerSecond = 60;
constexpr std::uint64_t kAllEvents = ~std::uint64_t(0);

NSRect atOrigin(NSSize size)
{
    return {{0, 0}, size};
}

} // namespace

VitrelView::VitrelView(const Surroundings& surroundings)
    : surroundings_(surroundings)
    , feedInput_(*this, surroundings)
    , retrigger_(surroundings.clock->date())
    , muralisLink_(
          {*surroundings.clock, *surroundings.runLoop, *surroundings.userInteractiveQueue, surroundings.urlSession},
          *this)
    , eveningCovers_(*surroundings.runLoop, *surroundings.userInitiatedQueue, [this] { writeEvening(); })
    , visualizerInputs_([this](const Value& value, const std::string& key) { writeInput(value, key); })
{ }

VitrelView::~VitrelView() = default;

std::shared_ptr<VitrelView> VitrelView::initWithFrameIsPreview(
    const Surroundings& surroundings, NSRect frame, bool isPreview)
{
    std::shared_ptr<VitrelView> view(new VitrelView(surroundings));
    if (!view->ScreenSaverView::initWithFrameIsPreview(frame, isPreview))
        return nullptr;
    view->setAnimationTimeInterval(kAnimationTimeInterval);
    view->setWantsLayer(true);
    view->dataiTunes_ = std::make_shared<Dictionary>();
    view->dataSystem_ = std::make_shared<Dictionary>();
    view->retrigger_.setLastChange(surroundings.clock->date());
    view->updateData();
    if (PreferencesWC::isCatalinaHTTPAPIFixEnabled(surroundings)) {
        view->loop();
    } else {
        auto& manager = NqiTunesManager::shared(surroundings);
        view->nqiTunesManager_ = std::static_pointer_cast<NqiTunesManager>(manager.shared_from_this());
        view->nqiTunesManager_->addObserver(view);
    }
    view->awakeFromNib();
    for (const double delay : {1.0, 3.0, 5.0})
        view->ask(SELECTOR(VitrelView, startAnimation), delay);
    return view;
}

void VitrelView::ask(Selector selector, double seconds)
{
    surroundings_.runLoop->performSelectorWithObjectAfterDelay(shared_from_this(), selector, {}, Seconds(seconds));
}

void VitrelView::startAnimation()
{
    ScreenSaverView::startAnimation();
}

void VitrelView::stopAnimation()
{
    ScreenSaverView::stopAnimation();
}

void VitrelView::drawRect(NSRect rect)
{
    ScreenSaverView::drawRect(rect);
}

std::shared_ptr<NSWindow> VitrelView::configureSheet()
{
    preferencesWC_ = PreferencesWC::initWithWindowNibName(surroundings_, "PreferencesWC");
    preferencesWC_->window()->setDelegate(shared_from_this());
    return preferencesWC_->window();
}

std::shared_ptr<QCView> VitrelView::makeQuartzView(NSSize size)
{
    auto view = surroundings_.makeQCView ? surroundings_.makeQCView() : nullptr;
    if (view) {
        // A frame that is under way may hold the composition's view for longer than this one lives.
        const auto weak = std::weak_ptr(std::static_pointer_cast<VitrelView>(shared_from_this()));
        view->onFrame = [weak](const SoundHeard& heard) { send(weak.lock(), &VitrelView::hear, heard); };
        view->onFrameDrawn = [weak] {
            if (const auto self = weak.lock())
                self->visualizerInputs_.frameWasDrawn();
        };
    }
    send(view, &QCView::setFrame, atOrigin(size));
    return view;
}

void VitrelView::configureQuartzView()
{
    send(viewQuartzComposition_, &QCView::setMaxRenderingFrameRate, kFramesPerSecond);
    send(viewQuartzComposition_, &QCView::setAutostartsRendering, true);
    send(viewQuartzComposition_, &QCView::setEventForwardingMask, kAllEvents);
}

NSSize VitrelView::fitContentView()
{
    const NSSize size = send(window(), &NSWindow::frame).size;
    if (window())
        window()->contentView()->setFrame(atOrigin(size));
    return size;
}

void VitrelView::loadQuartzView()
{
    viewQuartzComposition_ = makeQuartzView(fitContentView());
    configureQuartzView();
}

void VitrelView::awakeFromNib()
{
    const NSSize size = fitContentView();
    send(window(), &NSWindow::setAlphaValue, 1.0);
    viewQuartzComposition_ = makeQuartzView(size);
    configureQuartzView();
    windowDidLoad();
}

void VitrelView::windowDidLoad()
{
    send(window(), &NSWindow::setFrameDisplay, send(window(), &NSWindow::frame), true);
    if (send(nqiTunesManager_, &NqiTunesManager::isRunning))
        ask(SELECTOR(VitrelView, updateTrackData), 0);
    randomizeFile();
    ask(SELECTOR(VitrelView, loadFile), 0);
    addSubview(viewQuartzComposition_);
}

void VitrelView::updateQuartzViewFrame()
{
    send(viewQuartzComposition_, &QCView::setFrame, bounds());
}

void VitrelView::loop()
{
    if (PreferencesWC::isCatalinaHTTPAPIFixEnabled(surroundings_))
        muralisLink_.scheduleQueryMuralisApp();
    ask(SELECTOR(VitrelView, loop), kLoopInterval);
}

void VitrelView::windowWillClose(const Value&)
{
    if (preferencesWC_)
        preferencesWC_->window()->setDelegate(nullptr);
    preferencesWC_.reset();
    reloadFile();
}

void VitrelView::cleanup()
{
    RunLoop& loop = *surroundings_.runLoop;
    loop.cancelPreviousPerformRequestsWithTargetSelector(*this, SELECTOR(VitrelView, updateQCRendererInputDataSystem));
    loop.cancelPreviousPerformRequestsWithTarget(*this);
    feedInput_.stop();
    updateData();
    send(dataSystem_, static_cast<void (Dictionary::*)()>(&Dictionary::clear));
    send(dataiTunes_, static_cast<void (Dictionary::*)()>(&Dictionary::clear));
    dataSystem_.reset();
    dataiTunes_.reset();
    // The caller and the delayed call below hold the view now.
    send(nqiTunesManager_, &NqiTunesManager::removeObserver, *this);
    ask(SELECTOR(VitrelView, cleanupNow), 0.5);
}

void VitrelView::cleanupNow()
{
    if (url_)
        url_->stopAccessingSecurityScopedResource();
    send(window(), &NSWindow::setAlphaValue, 0.0);
    ask(SELECTOR(VitrelView, endCleanup), 0.03);
    send(viewQuartzComposition_, &QCView::pauseRendering);
    send(viewQuartzComposition_, &QCView::setAutostartsRendering, false);
}

void VitrelView::endCleanup()
{
    send(window(), &NSWindow::close);
    send(viewQuartzComposition_, &QCView::stopRendering);
    send(viewQuartzComposition_, &QCView::removeFromSuperview);
    viewQuartzComposition_.reset();
}

std::string VitrelView::displayNumber()
{
    const auto screen = send(window(), &NSWindow::screen);
    const auto number = screen ? displayIDInt(*screen) : std::nullopt;
    return number ? std::to_string(*number) : std::string();
}

bool VitrelView::isCompanionUsed()
{
    return PreferencesWC::isCatalinaHTTPAPIFixEnabled(surroundings_);
}

} // namespace vitrel
