#include "programs/vitrel/SaverHost.h"

#include "FeedKit/fetch/CurlFetcher.h"
#include "base/Text.h"
#include "platform/appkit/ImageCoding.h"
#include "platform/quartzcomposer/CompositionView.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "platform/scriptingbridge/DemoPlayer.h"
#include "platform/scriptingbridge/SessionBus.h"
#include "preferences/VitrelItem.h"
#include "programs/vitrel/Commands.h"

#include <cstdlib>
#include <utility>

#include <climits>

namespace vitrel {

namespace {

// The direct route: a version below the gate, since on this desktop a player can be read without any set-up.
constexpr const char* kUsualSystemVersion = "10.13.6";

// From the beginning of the stop to its end, by the view's own delays, and a little.
constexpr Seconds kStopTime{0.6};

// Players answer within a few milliseconds; the first picture is not to wait for one that doesn't.
constexpr Seconds kPlayersTime{0.1};

std::string absolute(const std::string& path)
{
    char buffer[PATH_MAX];
    return realpath(path.c_str(), buffer) ? buffer : path;
}

std::string systemVersionText(const SaverOptions& options)
{
    const char* fromEnvironment = std::getenv("VITREL_SYSTEM_VERSION");
    return !options.systemVersion.empty()          ? options.systemVersion
        : fromEnvironment && *fromEnvironment != 0 ? fromEnvironment
                                                   : kUsualSystemVersion;
}

} // namespace

void addSaverOptions(CLI::App& command, SaverOptions& options)
{
    command.add_option("FILE,--file", options.file, "The composition; without it the one chosen in the settings");
    command.add_flag("--demo", options.demo, "Play the default composition with a built-in player");
    command.add_option("--player", options.player, "Follow the player of this name before all others");
    command.add_option("--system-version", options.systemVersion,
        "The system version that the saver sees; 10.14.0 and later use the companion");
    command.add_option("--trace", options.trace, "Write each change of an input to this file, a line of JSON each");
    command.add_option("--input", options.inputs, "KEY=VALUE sets a published input at the start; may be given again")
        ->allow_extra_args(false);
}

bool checkSaverOptions(const SaverOptions& options, int& code)
{
    const auto fail = [&code](const std::string& message, int with) {
        code = complain(message, with);
        return false;
    };
    for (const std::string& text : options.inputs) {
        if (!inputArgument(text))
            return fail("--input takes KEY=VALUE", 2);
    }
    const std::string version = systemVersionText(options);
    if (!makeOperatingSystemVersion(version))
        return fail("\"" + version + "\" is no system version", 2);
    qc::CompositionError error;
    if (!options.file.empty() && !qc::readCompositionOrTextFile(options.file, &error))
        return fail(options.file + " is no composition: " + error.reason, 1);
    return true;
}

SaverHost::SaverHost()
    : bundle_(NSBundle::forExecutable())
    , notifications_(runLoop_)
{ }

SaverHost::~SaverHost()
{
    urlSession_.invalidateAndCancel();
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

std::unique_ptr<SaverHost> SaverHost::make(
    const SaverOptions& options, int& code, std::function<void(SaverHost&)> onSignal)
{
    std::unique_ptr<SaverHost> host(new SaverHost);
    if (onSignal)
        host->signals_ = std::make_unique<HostSignals>(
            host->runLoop_, [raw = host.get(), onSignal = std::move(onSignal)](int) { onSignal(*raw); });
    return host->configure(options, code) ? std::move(host) : nullptr;
}

bool SaverHost::configure(const SaverOptions& options, int& code)
{
    if (!checkSaverOptions(options, code))
        return false;
    for (const std::string& text : options.inputs)
        inputs_.push_back(*inputArgument(text));
    const LogSink log = standardErrorLog(clock_);
    // A demonstration shows the same to everybody and keeps nothing.
    defaults_
        = std::make_unique<DefaultsStore>(
            options.demo || options.withoutData ? std::string() : DefaultsStore::userFolder(), files_, log);
    surroundings_.clock = &clock_;
    surroundings_.runLoop = &runLoop_;
    surroundings_.userInteractiveQueue = &userInteractive_;
    surroundings_.userInitiatedQueue = &userInitiated_;
    surroundings_.feedQueue = &feeds_;
    surroundings_.defaults = defaults_.get();
    surroundings_.classBundle = surroundings_.mainBundle = &bundle_;
    surroundings_.notificationCenter = &notifications_;
    surroundings_.systemVersion = *makeOperatingSystemVersion(systemVersionText(options));
    surroundings_.log = log;
    if (!options.withoutData) {
        surroundings_.urlSession = &urlSession_;
        surroundings_.feedFetcher = std::make_shared<FeedKit::CurlFetcher>();
    }
    if (!options.trace.empty()) {
        traceFile_.open(options.trace, options.addToTrace ? std::ios::app : std::ios::trunc);
        if (!traceFile_) {
            code = complain("can't write " + options.trace);
            return false;
        }
        trace_ = std::make_unique<InputTrace>(
            clock_, [this](const std::string& line) { traceFile_ << line << std::flush; });
    }
    if (!options.file.empty())
        playOnly(absolute(options.file));
    if (options.random)
        defaults_->setArgument("Use Random Screen Saver", true);
    if (options.fallback)
        playOnly("");
    if (options.demo)
        showDemoFeed(options.file.empty() ? bundle_.pathForResourceOfType("Muralis RSS Almanac", "qtz").value_or("")
                                          : absolute(options.file));
    firstView_ = options.firstView;
    userInitiated_.async([] { warmImageDecoding(); });
    if (options.demo) {
        players_ = std::make_unique<DemoPlayer>(surroundings_, demoTracks(bundle_));
    } else if (!options.withoutData) {
        auto bus = std::make_unique<SessionBus>(runLoop_);
        sessionBus_ = bus.get();
        auto players = std::make_unique<MprisPlayers>(surroundings_, std::move(bus), options.player);
        sessionPlayers_ = players.get();
        players_ = std::move(players);
    }
    surroundings_.players = players_.get();
    surroundings_.makeQCView = [this]() -> std::shared_ptr<QCView> {
        auto view = std::make_shared<CompositionView>(runLoop_);
        const std::weak_ptr<QCView> weak = view;
        view->onLoad = [this, weak] {
            // After the first publication, which comes in this turn.
            runLoop_.post([this, weak] { applyInputs(weak); });
        };
        return view;
    };
    return true;
}

// As if it were the one entry of the user's list, or the list were empty; nothing is stored.
void SaverHost::playOnly(const std::string& path)
{
    defaults_->setArgument("Files Paths", path.empty() ? Array{} : Array{path});
    defaults_->setArgument("Active File Path", path);
    defaults_->setArgument("Use Random Screen Saver", false);
}

// The feed among the resources for the composition at `path`, which is the chosen one then.
void SaverHost::showDemoFeed(const std::string& path)
{
    const auto feed = bundle_.pathForResourceOfType("DemoFeed", "xml");
    if (path.empty() || !feed)
        return;
    playOnly(path);
    const VitrelItem item(surroundings_, path.substr(path.rfind('/') + 1));
    defaults_->setArgument(item.keyID(VitrelItem::Key::rssFeedURL), "file://" + percentEncoded(*feed, "/-._~"));
}

void SaverHost::applyInputs(const std::weak_ptr<QCView>& weak)
{
    const auto view = weak.lock();
    for (std::size_t k = 0; view && k < inputs_.size(); ++k) {
        const InputArgument& input = inputs_[k];
        if (!view->setValueForInputKey(input.value, input.key))
            complain("the composition has no input \"" + input.key + "\" that takes this value");
    }
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
    if (trace_)
        view->setInputObserver(trace_->observerForView(firstView_ + static_cast<int>(views_.size())));
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
