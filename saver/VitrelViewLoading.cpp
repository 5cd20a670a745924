// The choice of a composition, its loading and reloading.
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/Surroundings.h"
#include "preferences/InitialChoice.h"
#include "saver/VitrelView.h"

namespace vitrel {
namespace {

constexpr const char* kSecondComposition = "Muralis Cover Still";
constexpr double kFramesPerSecond = 60;

} // namespace

std::shared_ptr<ScreenSaverDefaults> VitrelView::screensaverDefaults() const
{
    const auto identifier = send(surroundings_.classBundle, &NSBundle::bundleIdentifier);
    return ScreenSaverDefaults::defaultsForModuleWithName(surroundings_, identifier.value_or(""));
}

std::optional<std::vector<std::string>> VitrelView::filePaths() const
{
    const auto stored = send(screensaverDefaults(), &ScreenSaverDefaults::arrayForKey, "Files Paths");
    if (!stored)
        return std::nullopt;
    std::vector<std::string> paths;
    for (const Value& entry : *stored) {
        if (const auto* path = entry.as<std::string>())
            paths.push_back(*path);
    }
    return paths;
}

std::optional<std::string> VitrelView::resource(const NSBundle* bundle, const char* name) const
{
    return send(bundle, &NSBundle::pathForResourceOfType, name, "qtz");
}

std::optional<std::string> VitrelView::filePathActive() const
{
    if (const auto paths = filePaths(); paths && !paths->empty()) {
        const auto stored = send(screensaverDefaults(), &ScreenSaverDefaults::stringForKey, "Active File Path");
        if (stored && !stored->empty())
            return stored;
    }
    for (const char* name : {kDefaultComposition, kSecondComposition}) {
        for (const NSBundle* bundle : {surroundings_.classBundle, surroundings_.mainBundle}) {
            if (auto path = resource(bundle, name))
                return path;
        }
    }
    return std::nullopt;
}

std::optional<NSURL> VitrelView::urlDefaultComposition() const
{
    auto path = defaultCompositionPath(surroundings_);
    return path ? std::optional(NSURL::fileURLWithPath(std::move(*path))) : std::nullopt;
}

void VitrelView::randomizeFile()
{
    const auto defaults = screensaverDefaults();
    if (!send(defaults, &ScreenSaverDefaults::boolForKey, "Use Random Screen Saver"))
        return;
    if (const auto path = randomComposition(surroundings_))
        defaults->setObjectForKey(*path, "Active File Path");
}

void VitrelView::loadFile()
{
    if (isFileLoaded_)
        return;
    if (auto path = filePathActive())
        url_ = NSURL::fileURLWithPath(std::move(*path));
    send(viewQuartzComposition_, &QCView::setMaxRenderingFrameRate, kFramesPerSecond);
    const std::string path = url_ ? url_->path() : "";
    if (!send(viewQuartzComposition_, &QCView::loadCompositionFromFile, path)) {
        loadFileByBookmark();
        return;
    }
    send(viewQuartzComposition_, &QCView::play, Value());
    addSubview(viewQuartzComposition_);
    send(viewQuartzComposition_, &QCView::setFrame, frame());
    beginVisualizing();
    updateQCRendererInputData();
    updateQCRendererInputDataSystem();
    loadedURL_ = url_;
}

void VitrelView::loadFileByBookmark()
{
    if (!url_) {
        loadBundledComposition();
        return;
    }
    url_->stopAccessingSecurityScopedResource();
    const auto bookmark = NSUserDefaults::standardUserDefaults(surroundings_)->dataForKey(url_->path());
    const auto resolved = NSURL::URLByResolvingBookmarkData(bookmark ? ByteView(*bookmark) : ByteView());
    if (resolved && (*resolved).startAccessingSecurityScopedResource()) {
        url_ = *resolved;
    } else {
        const NSError refused{"NSCocoaErrorDomain", 257, "The file can't be read."};
        const NSError& error = resolved ? refused : resolved.error();
        NSLog(surroundings_.log, "Qnq Sandbox failure %@", {error.description()});
        url_ = urlDefaultComposition();
    }
    if (surroundings_.systemVersion >= OperatingSystemVersion{10, 14, 0})
        replaceQuartzView();
    isFileLoaded_ = true;
    send(viewQuartzComposition_, &QCView::setMaxRenderingFrameRate, kFramesPerSecond);
    send(viewQuartzComposition_, &QCView::loadCompositionFromFile, url_ ? url_->path() : "");
    send(viewQuartzComposition_, &QCView::startRendering);
    addSubview(viewQuartzComposition_);
    send(viewQuartzComposition_, &QCView::setFrame, frame());
    beginVisualizing();
    updateQCRendererInputData();
    updateQCRendererInputDataSystem();
    loadedURL_ = url_;
}

void VitrelView::replaceQuartzView()
{
    send(viewQuartzComposition_, &QCView::unloadComposition);
    send(viewQuartzComposition_, &QCView::removeFromSuperview);
    viewQuartzComposition_.reset();
    viewQuartzComposition_ = makeQuartzView(send(window(), &NSWindow::frame).size);
    send(viewQuartzComposition_, &QCView::setFrame, bounds());
    configureQuartzView();
}

void VitrelView::fileDidChange()
{
    reloadFile();
}

void VitrelView::reloadInPlace()
{
    const bool isReloading = !viewQuartzComposition_ || !viewQuartzComposition_->superview();
    if (isFileLoaded_ || isReloading || !viewQuartzComposition_->isRendering())
        return reloadFile();
    loadFile();
}

void VitrelView::reloadFile()
{
    if (!dataiTunes_)
        return; // the stop has begun, and ends with no composition
    RunLoop& loop = *surroundings_.runLoop;
    for (const Selector step : {SELECTOR(VitrelView, endCleanupForFileReload),
             SELECTOR(VitrelView, prepareToReloadFile), SELECTOR(VitrelView, loadFile)})
        loop.cancelPreviousPerformRequestsWithTargetSelector(*this, step);
    if (url_)
        url_->stopAccessingSecurityScopedResource();
    ask(SELECTOR(VitrelView, endCleanupForFileReload), 0.03);
    send(viewQuartzComposition_, &QCView::pauseRendering);
    send(viewQuartzComposition_, &QCView::setAutostartsRendering, false);
}

void VitrelView::endCleanupForFileReload()
{
    send(viewQuartzComposition_, &QCView::stopRendering);
    send(viewQuartzComposition_, &QCView::removeFromSuperview);
    viewQuartzComposition_.reset();
    isFileLoaded_ = false;
    ask(SELECTOR(VitrelView, prepareToReloadFile), 0.1);
}

void VitrelView::prepareToReloadFile()
{
    loadQuartzView();
    ask(SELECTOR(VitrelView, loadFile), 0.1);
}

} // namespace vitrel
