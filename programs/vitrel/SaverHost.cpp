#include "programs/vitrel/SaverHost.h"

#include "FeedKit/fetch/CurlFetcher.h"
#include "base/Text.h"
#include "companion/token/Token.h"
#include "platform/appkit/ImageCoding.h"
#include "platform/foundation/CurlURLSession.h"
#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/CompositionView.h"
#include "platform/quartzcomposer/patches/TextLayout.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "platform/scriptingbridge/DemoPlayer.h"
#include "platform/scriptingbridge/SessionBus.h"
#include "preferences/InitialChoice.h"
#include "preferences/Settings.h"
#include "preferences/VitrelItem.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/ForThisRun.h"
#include "programs/vitrel/SaverSound.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <utility>

namespace vitrel {

namespace {

// From the beginning of the stop to its end, by the view's own delays, and a little.
constexpr Seconds kStopTime{0.6};
// So long covers wait for a first picture, if there is none.
constexpr Seconds kPictureTime{1};

// Players answer within a few milliseconds; the first picture is not to wait for one that doesn't.
constexpr Seconds kPlayersTime{0.1};

std::string absolute(const std::string& path)
{
    char buffer[PATH_MAX];
    return realpath(path.c_str(), buffer) ? buffer : path;
}

} // namespace

SaverHost::SaverHost()
    : bundle_(NSBundle::forExecutable())
    , notifications_(runLoop_)
{ }

SaverHost::~SaverHost()
{
    if (urlSession_)
        urlSession_->invalidateAndCancel();
    // A view that nobody stopped would be held for good by what it observes.
    for (const auto& view : views_) {
        if (!stopping_)
            view->cleanup();
        runLoop_.cancelPreviousPerformRequestsWithTarget(*view);
        view->endCleanup();
    }
    views_.clear();
    surroundings_.shared.clear();
}

Result<std::unique_ptr<SaverHost>, int> SaverHost::make(
    const SaverOptions& options, Reach reach, std::function<void(SaverHost&)> onSignal)
{
    std::unique_ptr<SaverHost> host(new SaverHost);
    if (onSignal)
        host->signals_ = std::make_unique<HostSignals>(
            host->runLoop_, [raw = host.get(), onSignal = std::move(onSignal)](int) { onSignal(*raw); });
    if (const auto code = host->configure(options, reach))
        return *code;
    return host;
}

// An exit code if it can't be.
std::optional<int> SaverHost::configure(const SaverOptions& options, Reach reach)
{
    if (const auto code = complainOfSaverOptions(options))
        return code;
    qc::prepareSoftwareRendering();
    artwork_.suspend(); // until the first picture is there; a demonstration asks for its covers at once
    for (const std::string& text : options.inputs)
        inputs_.push_back(*inputArgument(text));
    const LogSink log = standardErrorLog(clock_);
    // A demonstration shows the same to everybody and keeps nothing.
    defaults_ = std::make_unique<DefaultsStore>(
        options.demo || options.withoutData ? std::string() : userFolder(UserFolder::Config), files_, log);
    if (!options.replay.empty())
        defaults_->keepInMemory();
    surroundings_.clock = &clock_;
    surroundings_.runLoop = &runLoop_;
    surroundings_.userInteractiveQueue = &userInteractive_;
    surroundings_.userInitiatedQueue = &userInitiated_;
    surroundings_.artworkQueue = &artwork_;
    surroundings_.feedQueue = &feeds_;
    surroundings_.defaults = defaults_.get();
    surroundings_.classBundle = surroundings_.mainBundle = &bundle_;
    surroundings_.notificationCenter = &notifications_;
    surroundings_.systemVersion = *makeOperatingSystemVersion(systemVersionText(options));
    if (options.logs)
        surroundings_.log = log;
    if (!options.trace.empty()) {
        traceName_ = options.trace;
        traceFile_.open(options.trace, options.addToTrace ? std::ios::app : std::ios::trunc);
        if (!traceFile_)
            return complain("can't write " + options.trace);
        // Beside a device or a pipe there is no place for pictures.
        if (std::error_code error; std::filesystem::is_regular_file(options.trace, error))
            tracePictures_ = std::make_unique<TracePictures>(pictureFolderOf(options.trace));
        trace_ = std::make_unique<InputTrace>(
            clock_, [this](const std::string& line) { traceFile_ << line << std::flush; }, tracePictures_.get());
    }
    choose(options);
    firstView_ = options.firstView;
    // What crashes with the user's options is to play without them.
    hasOptions_
        = options.replay.empty() && !options.demo && !options.withoutData && !options.fallback && !options.ownValues;
    if (const auto code = options.replay.empty() ? configureWays(options, reach) : configureReplay(options, reach))
        return code;
    surroundings_.players = players_.get();
    surroundings_.makeQCView = [this] { return makeQCView(); };
    return std::nullopt;
}

std::shared_ptr<QCView> SaverHost::makeQCView()
{
    auto view = replay_ ? replay_->makeView() : std::make_shared<CompositionView>(runLoop_, sound_.get());
    view->setNotice(notice_);
    std::erase_if(playing_, [](const auto& gone) { return gone.expired(); });
    playing_.push_back(view);
    const std::weak_ptr<CompositionView> weak = view;
    view->onFirstFrame = [this] { firstPictureIsThere(); };
    view->onLoad = [this, weak, view = view.get()] {
        if (isForThisRun_)
            knowFeedInput(surroundings_, *view);
        if (trace_ && !std::exchange(hasLoaded_, true))
            trace_->beginAnew(hasPicture_);
        beginOptions(weak.lock());
        if (onLoaded)
            onLoaded(*view);
        if (replay_)
            replay_->begin(weak.lock());
        // After the first publication, which comes in this turn.
        runLoop_.post([this, weak] { applyInputs(weak); });
    };
    return view;
}

// An exit code if there is no such trace.
std::optional<int> SaverHost::configureReplay(const SaverOptions& options, Reach reach)
{
    isConfined_ = reach == Reach::Confined;
    auto trace = readTrace(options.replay, options.view);
    if (!trace)
        return complain(trace.error());
    replayName_ = options.replay;
    replay_ = std::make_unique<LiveReplay>(runLoop_, clock_, *std::move(trace));
    return std::nullopt;
}

// To the world: players, feeds, covers, the companion, sound. An exit code if the options name a sound that is none.
std::optional<int> SaverHost::configureWays(const SaverOptions& options, Reach reach)
{
    isConfined_ = reach == Reach::Confined;
    auto played = soundPlayedFor(options, clock_);
    if (!played)
        return played.error();
    sound_ = *std::move(played);
    auto allowed = permissions();
    allowed.sound = listens_ = listensToComputer(options, Settings::shared(surroundings_).listensToSound());
    if (isConfined_ && !options.withoutData)
        outside_ = OutsideLink::start(runLoop_, allowed);
    if (outside_) {
        if (listens_)
            sound_ = outside_->sound();
        urlSession_ = outside_->urlSession();
        surroundings_.feedFetcher = outside_->fetcher();
        surroundings_.artworkReader = outside_->covers();
        coverShelf_ = outside_->coverShelf();
    } else if (!isConfined_) {
        urlSession_ = std::make_unique<CurlURLSession>(URLSessionLimits{.user = geteuid()});
        surroundings_.feedFetcher = std::make_shared<FeedKit::CurlFetcher>();
        coverShelf_ = std::make_shared<CoverFolder>(CoverFolder::usersFolder(), clock_);
    }
    // What is played for show is nobody's evening.
    if (options.demo)
        coverShelf_.reset();
    surroundings_.urlSession = urlSession_.get();
    if (options.demo) {
        players_ = std::make_unique<DemoPlayer>(surroundings_, demoTracks(bundle_));
    } else if (outside_ || !isConfined_) {
        std::unique_ptr<PlayerBus> bus = outside_ ? outside_->playerBus() : nullptr;
        if (!bus) {
            auto direct = std::make_unique<SessionBus>(runLoop_);
            sessionBus_ = direct.get();
            bus = std::move(direct);
        }
        auto players = std::make_unique<MprisPlayers>(surroundings_, std::move(bus), options.player);
        sessionPlayers_ = players.get();
        players_ = std::move(players);
    }
    return std::nullopt;
}

// Of the user's list, the active one first.
std::vector<std::string> SaverHost::compositions() const
{
    constexpr std::size_t kMost = 1000; // a rule of the confinement each
    const auto defaults = Settings::shared(surroundings_).screenSaverDefaults();
    std::vector<std::string> paths;
    if (auto active = defaults->stringForKey("Active File Path"))
        paths.push_back(*std::move(active));
    const auto listed = defaults->arrayForKey("Files Paths").value_or(Array{});
    for (const auto& entry : listed)
        if (const auto* path = entry.as<std::string>(); path && paths.size() < kMost)
            paths.push_back(*path);
    return paths;
}

OutsidePermissions SaverHost::permissions() const
{
    OutsidePermissions permissions;
    permissions.companionPort = kCompanionPort;
    permissions.coverFolder = CoverFolder::usersFolder();
    for (const auto& path : compositions()) {
        const VitrelItem item(surroundings_, path.substr(path.rfind('/') + 1));
        const auto address = item.rssFeedURL().value_or("");
        if (asciiLowercase(address.substr(0, 5)) == "file:")
            permissions.feedFiles.push_back(address);
    }
    return permissions;
}

void SaverHost::begin(const CommandFiles& more, const std::vector<std::string>& folders)
{
    if (isConfined_)
        confineTo(more, folders);
    if (outside_)
        outside_->listen();
    // Libraries load one at a time, and no thread starts meanwhile. The first picture waits for the renderer's; so
    // those of the image library come after it, and the covers with them.
    earlyContext_.emplace();
    userInitiated_.async([this] {
        qc::readTypefaces();
        earlyContext_->wait();
        warmImageDecoding();
    });
    runLoop_.postAfter(kPictureTime, [this] { firstPictureIsThere(); });
}

void SaverHost::confineTo(CommandFiles files, std::vector<std::string> folders)
{
    const auto all = compositions();
    files.read.insert(files.read.end(), all.begin(), all.end());
    files.written.push_back(traceName_);
    if (!defaults_->isVolatile())
        folders.push_back(userFolder(UserFolder::Config));
    auto reach = reachOf(files, bundle_.resourcePath());
    if (replay_)
        reach.readable.push_back(pictureFolderOf(replayName_));
    for (const auto& folder : folders) {
        std::error_code error;
        std::filesystem::create_directories(folder, error);
        reach.writable.push_back(folder);
    }
    tellUnconfined(confine(ConfinementKind::Drawing, reach));
}

bool SaverHost::reachesComposition() const
{
    const auto path = Settings::shared(surroundings_).screenSaverDefaults()->stringForKey("Active File Path");
    const int file = path ? ::open(path->c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    const bool isRefused = path && file < 0 && errno == EACCES;
    if (file >= 0)
        ::close(file);
    return !isRefused;
}

bool SaverHost::hearsAsChosen() const
{
    return listens_ == Settings::shared(surroundings_).listensToSound();
}

// Which composition plays. What the command line says is for this run alone.
void SaverHost::choose(const SaverOptions& options)
{
    const std::string own = defaultCompositionPath(surroundings_).value_or("");
    const std::string file = options.file.empty() ? "" : absolute(options.file);
    const auto playOneOfTheList = [this](const std::string& path) {
        defaults_->setArgument("Active File Path", path);
        defaults_->setArgument("Use Random Screen Saver", false);
    };
    setInitialChoice(surroundings_, true);
    isForThisRun_ = options.demo || options.fallback || !file.empty();
    if (options.demo)
        return playWithDemoFeed(surroundings_, file.empty() ? own : file);
    if (isForThisRun_)
        return playOnly(*defaults_, options.fallback ? own : file);
    if (!options.chosen.empty())
        return playOneOfTheList(options.chosen);
    // Where the user wishes for it at each start the view sees to it.
    const auto defaults = Settings::shared(surroundings_).screenSaverDefaults();
    if (options.random && !defaults->boolForKey("Use Random Screen Saver")) {
        if (const auto path = randomComposition(surroundings_))
            playOneOfTheList(*path);
    }
}

void SaverHost::applyInputs(const std::weak_ptr<QCView>& weak)
{
    const auto view = weak.lock();
    for (std::size_t k = 0; view && k < inputs_.size(); ++k) {
        const InputArgument& input = inputs_[k];
        const bool isTaken = replay_ ? LiveReplay::write(*view, input.value, input.key)
                                     : view->setValueForInputKey(input.value, input.key);
        if (isTaken && trace_)
            tellOfInput(*view, input);
        if (!isTaken)
            complain("the composition has no input \"" + input.key + "\" that takes this value");
    }
}

void SaverHost::setInput(InputArgument input)
{
    for (const auto& playing : playing_) {
        if (const auto view = playing.lock())
            view->setValueForInputKey(input.value, input.key);
    }
    const auto set = std::find_if(
        inputs_.begin(), inputs_.end(), [&](const InputArgument& other) { return other.key == input.key; });
    if (set != inputs_.end())
        *set = std::move(input);
    else
        inputs_.push_back(std::move(input));
}

void SaverHost::beginOptions(const std::shared_ptr<CompositionView>& view)
{
    std::erase_if(
        options_, [&](const ViewOptions& other) { return other.view.expired() || other.view.lock() == view; });
    if (!hasOptions_ || !view)
        return;
    PlayedOptions options(*view, view->describedInputs());
    for (const InputArgument& input : inputs_)
        options.leave(input.key);
    options_.push_back({view, std::move(options)});
    applyStoredOptions();
}

void SaverHost::applyOptions(ViewOptions& played, const Dictionary& options)
{
    const auto view = played.view.lock();
    if (!view)
        return;
    played.options.apply(options, [&](const Value& value, const std::string& key) {
        if (trace_)
            tellOfInput(*view, {key, value});
    });
}

void SaverHost::applyStoredOptions()
{
    for (ViewOptions& played : options_) {
        const auto view = played.view.lock();
        const std::string path = view ? view->path() : "";
        applyOptions(played, VitrelItem(surroundings_, path.substr(path.rfind('/') + 1)).options());
    }
}

void SaverHost::setOptions(const Dictionary& options)
{
    for (ViewOptions& played : options_)
        applyOptions(played, options);
}

void SaverHost::followOptions()
{
    if (!hasOptions_ || defaults_->isVolatile())
        return;
    const auto domain = Settings::shared(surroundings_).screenSaverDefaults()->domain();
    settingsWatch_
        = std::make_unique<FileWatch>(runLoop_, defaults_->pathForDomain(domain), [this] { applyStoredOptions(); });
}

const PlayedOptions* SaverHost::optionsOf(const CompositionView& view) const
{
    const auto found = std::find_if(
        options_.begin(), options_.end(), [&](const ViewOptions& played) { return played.view.lock().get() == &view; });
    return found == options_.end() ? nullptr : &found->options;
}

void SaverHost::setNotice(const std::string& text)
{
    notice_ = text;
    for (const auto& playing : playing_) {
        if (const auto view = playing.lock())
            view->setNotice(text);
    }
}

void SaverHost::tellOfInput(const QCView& view, const InputArgument& input)
{
    for (std::size_t k = 0; k < views_.size(); ++k) {
        if (views_[k]->viewQuartzComposition().get() == &view)
            trace_->observerForView(firstView_ + static_cast<int>(k))(input.value, input.key);
    }
}

void SaverHost::firstPictureIsThere()
{
    if (std::exchange(hasPicture_, true))
        return;
    if (trace_)
        trace_->run();
    artwork_.resume();
}

void SaverHost::meetPlayers()
{
    meetPlayers(kPlayersTime);
}

void SaverHost::meetPlayers(Seconds limit)
{
    if (sessionPlayers_)
        sessionPlayers_->settle(limit);
}

bool SaverHost::hasSessionBus() const
{
    return sessionBus_ && sessionBus_->isConnected();
}

std::shared_ptr<VitrelView> SaverHost::addView(const std::shared_ptr<NSWindow>& window, bool isPreview)
{
    auto view = VitrelView::initWithFrameIsPreview(surroundings_, {{0, 0}, window->frame().size}, isPreview);
    if (!view)
        return nullptr;
    view->setCoverShelf(coverShelf_);
    if (trace_) {
        const int number = firstView_ + static_cast<int>(views_.size());
        view->setInputObserver(trace_->observerForView(number));
        view->setSoundObserver(trace_->soundObserverForView(number));
    }
    window->contentView()->addSubview(view);
    views_.push_back(view);
    return view;
}

void SaverHost::resizeView(NSWindow& window, NSSize size)
{
    window.setFrameDisplay({window.frame().origin, size}, true);
    for (const auto& view : views_) {
        if (view->window() == &window) {
            view->setFrame({{0, 0}, size});
            view->updateQuartzViewFrame();
        }
    }
}

void SaverHost::stop()
{
    if (std::exchange(stopping_, true))
        return;
    for (const auto& view : views_)
        view->cleanup();
    runLoop_.postAfter(kStopTime, [this] { runLoop_.stop(); });
}

} // namespace vitrel
