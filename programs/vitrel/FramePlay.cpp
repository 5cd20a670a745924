#include "programs/vitrel/FramePlay.h"

#include "FeedKit/fetch/CurlFetcher.h"
#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/scriptingbridge/DemoPlayer.h"
#include "preferences/InitialChoice.h"
#include "preferences/VitrelItem.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/ForThisRun.h"
#include "programs/vitrel/SaverSound.h"
#include "programs/vitrel/SettingsHost.h"
#include "programs/vitrel/ValueJson.h"
#include "saver/CompositionOptions.h"
#include "traces/TracePictures.h"

#include <algorithm>
#include <filesystem>

namespace vitrel {

namespace {

// What is due at one time and asks for more at the same time ends some day.
constexpr int kMostTurns = 10'000;

std::string chosenComposition()
{
    SettingsHost host;
    const auto active = host.controller().filePathActive();
    return active && !active->empty() ? *active : defaultCompositionPath(host.surroundings()).value_or("");
}

// Read ahead of the confinement, and without a lock: this stores nothing.
Dictionary storedOptions(const NSBundle& bundle, const std::string& path)
{
    SystemClock clock;
    FileSystem files;
    DefaultsStore defaults(userFolder(UserFolder::Config), files, standardErrorLog(clock));
    SheetSurroundings surroundings;
    surroundings.clock = &clock;
    surroundings.defaults = &defaults;
    surroundings.classBundle = surroundings.mainBundle = &bundle;
    return VitrelItem(surroundings, path.substr(path.rfind('/') + 1)).options();
}

std::string absolutePath(const std::string& path)
{
    std::error_code error;
    const auto real = std::filesystem::weakly_canonical(path, error);
    return error ? path : real.string();
}

} // namespace

FramePlay::FramePlay(int width, int height)
    : defaults_("", files_, standardErrorLog(clock_))
    , bundle_(NSBundle::forExecutable())
    , view_(std::make_shared<FrameView>(width, height))
{
    clock_.start = SystemClock().date();
    surroundings_.clock = &clock_;
    surroundings_.runLoop = &runLoop_;
    surroundings_.userInteractiveQueue = &userInteractive_;
    surroundings_.userInitiatedQueue = &userInitiated_;
    surroundings_.artworkQueue = &artwork_;
    surroundings_.feedQueue = &feeds_;
    surroundings_.defaults = &defaults_;
    surroundings_.classBundle = surroundings_.mainBundle = &bundle_;
    surroundings_.notificationCenter = &notifications_;
}

FramePlay::~FramePlay()
{
    if (saver_) {
        saver_->cleanup();
        runLoop_.cancelPreviousPerformRequestsWithTarget(*saver_);
        saver_->endCleanup();
    }
    saver_.reset();
    surroundings_.shared.clear();
}

Result<std::unique_ptr<FramePlay>, int> FramePlay::make(
    const SaverOptions& options, int width, int height, CommandFiles files)
{
    if (const auto code = complainOfSaverOptions(options))
        return *code;
    const NSBundle bundle = NSBundle::forExecutable();
    std::string path = absolutePath(options.file);
    if (options.file.empty() && !options.demo)
        path = chosenComposition();
    qc::prepareSoftwareRendering();
    std::unique_ptr<FramePlay> play(new FramePlay(width, height));
    if (options.file.empty() && (options.demo || path.empty()))
        path = defaultCompositionPath(play->surroundings_).value_or("");
    if (!options.demo && !options.ownValues && options.replay.empty())
        play->options_ = storedOptions(bundle, path);
    files.read.push_back(path);
    files.alone = {options.sound};
    if (!options.replay.empty())
        files.alone = {options.replay, pictureFolderOf(options.replay)};
    const auto reach = reachOf(files, bundle.resourcePath());
    tellUnconfined(confine(ConfinementKind::Drawing, reach));
    if (!options.replay.empty()) {
        auto trace = readTrace(options.replay, options.view);
        if (!trace)
            return complain(trace.error());
        play->replay_ = std::make_unique<Replay>(*std::move(trace));
    } else {
        auto sound = soundPlayedFor(options, play->clock_);
        if (!sound)
            return sound.error();
        play->sound_ = *std::move(sound);
    }
    if (!play->load(options, path))
        return 1;
    return play;
}

bool FramePlay::load(const SaverOptions& options, const std::string& path)
{
    surroundings_.systemVersion = *makeOperatingSystemVersion(systemVersionText(options));
    if (replay_) {
        if (!view_->loadCompositionFromFile(path))
            return complain("can't read " + path), false;
    } else {
        feed(options, path);
        if (view_->inputKeys().empty() && !view_->isRendering())
            return complain("can't read " + path), false;
    }
    return applyInputs(options.inputs);
}

// As the saver does.
void FramePlay::feed(const SaverOptions& options, const std::string& path)
{
    setInitialChoice(surroundings_, true);
    if (options.demo) {
        playWithDemoFeed(surroundings_, path);
        surroundings_.feedFetcher = std::make_shared<FeedKit::CurlFetcher>();
        players_ = std::make_unique<DemoPlayer>(surroundings_, demoTracks(bundle_));
        surroundings_.players = players_.get();
    } else {
        playOnly(defaults_, path);
    }
    view_->onLoad = [this] {
        knowFeedInput(surroundings_, *view_);
        if (!options_.empty())
            PlayedOptions(*view_, view_->describedInputs()).apply(options_);
    };
    surroundings_.makeQCView = [this] { return view_; };
    if (sound_)
        listening_ = sound_->listen([] {});
    saver_ = VitrelView::initWithFrameIsPreview(
        surroundings_, {{0, 0}, {double(view_->width()), double(view_->height())}}, false);
    settle();
}

bool FramePlay::applyInputs(const std::vector<std::string>& inputs)
{
    for (const std::string& text : inputs) {
        const auto input = inputArgument(text);
        if (!view_->setValueForInputKey(input->value, input->key))
            return complain("the composition has no input \"" + input->key + "\" that takes this value"), false;
    }
    return true;
}

// All that is due by now, in whatever order it asks for more.
void FramePlay::settle()
{
    for (int turn = 0; turn < kMostTurns; ++turn) {
        std::size_t ran = runLoop_.turn();
        for (ManualQueue* queue : {&userInteractive_, &userInitiated_, &artwork_, &feeds_})
            ran += queue->drain();
        if (ran == 0)
            return;
    }
}

void FramePlay::goOnTo(Seconds time)
{
    for (int turn = 0; turn < kMostTurns; ++turn) {
        const auto due = runLoop_.nextDue();
        if (!due || *due > time)
            break;
        clock_.time = std::max(clock_.time, *due);
        settle();
    }
    clock_.time = time;
    settle();
}

bool FramePlay::drawFrame(double time)
{
    goOnTo(Seconds(time));
    SoundHeard heard = sound_ ? sound_->hear() : SoundHeard();
    Date date = clock_.date();
    if (replay_) {
        replay_->advance(
            time, [this](const Value& value, const std::string& key) { view_->setValueForInputKey(value, key); });
        heard = replay_->heard();
        date = replay_->date();
    }
    if (view_->drawFrame(time, date, heard))
        return true;
    complain(qc::GLContext::current() ? "there is no picture" : "there is no OpenGL 3.3 here");
    return false;
}

bool FramePlay::drawFrames(double until, double rate)
{
    for (double step = 0; step / rate < until; ++step) {
        if (!drawFrame(step / rate))
            return false;
    }
    return drawFrame(until);
}

} // namespace vitrel
