#pragma once

#include "base/Result.h"
#include "platform/appkit/NSWindow.h"
#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/FileSystem.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "platform/foundation/URLSession.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/scriptingbridge/MprisPlayers.h"
#include "platform/scriptingbridge/SessionBus.h"
#include "programs/outside/OutsideLink.h"
#include "programs/supervisor/HostSignals.h"
#include "programs/vitrel/Confining.h"
#include "programs/vitrel/LiveReplay.h"
#include "programs/vitrel/SaverOptions.h"
#include "programs/vitrel/ValueJson.h"
#include "programs/watch/FileWatch.h"
#include "saver/CompositionOptions.h"
#include "saver/InputTrace.h"
#include "saver/VitrelView.h"

#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

namespace vitrel {

class CompositionView;

// A real saver: the system's clock, loop, queues, stored settings and players, and the views that were made with them.
// Main thread.
class SaverHost
{
public:
    // Whether it reaches players, feeds and covers by itself, or through a process outside and is confined from `begin`
    // on.
    enum class Reach { Free, Confined };

    // An exit code, with a line on standard error, for options that make no sense. With `onSignal` it hears the signals
    // that end a program, from then on; without, they do so on the spot. Starts no thread.
    static Result<std::unique_ptr<SaverHost>, int> make(
        const SaverOptions& options, Reach reach, std::function<void(SaverHost&)> onSignal = {});
    ~SaverHost();

    // Confines the process, if it is to be, and starts the threads. Once a display is connected, which can't be done
    // any more from then on; ahead of all below but the run loop. `more`: files beyond the composition and the trace;
    // `folders` to be written, made if need be.
    void begin(const CommandFiles& more = {}, const std::vector<std::string>& folders = {});
    // Whether the composition that the settings name can be read; if not, only by another process.
    bool reachesComposition() const;
    // Whether it hears as the user has chosen by now: the way to the sound is made at the start.
    bool hearsAsChosen() const;

    RunLoop& runLoop() { return runLoop_; }
    Surroundings& surroundings() { return surroundings_; }

    // Waits a moment for the players that are there, so that the first view finds them. Ahead of the first view.
    void meetPlayers();
    void meetPlayers(Seconds limit);
    // Whether there is a bus that players could be on.
    bool hasSessionBus() const;
    // Makes a view and puts it into the window, which it fills. Null if the platform makes none.
    std::shared_ptr<VitrelView> addView(const std::shared_ptr<NSWindow>& window, bool isPreview);
    // The window's size has changed.
    void resizeView(NSWindow& window, NSSize size);
    // Called when a view has loaded a composition, before it plays.
    std::function<void(CompositionView& playing)> onLoaded;
    // As --input says it, from now on and for what is loaded later. Quietly nothing where it doesn't fit.
    void setInput(InputArgument input);
    // What the user sets at the composition that plays is seen at once from now on, whoever stores it. After `begin`.
    void followOptions();
    // These in place of the stored options, until a composition is loaded.
    void setOptions(const Dictionary& options);
    // Null where the user's options have no say.
    const PlayedOptions* optionsOf(const CompositionView& view) const;
    // Over every view's picture (CompositionView); empty for none.
    void setNotice(const std::string& text);
    // Starts every view's orderly stop; the loop ends half a second later, when all have stopped.
    void stop();
    bool stopping() const { return stopping_; }

private:
    SaverHost();
    std::optional<int> configure(const SaverOptions& options, Reach reach);
    std::optional<int> configureWays(const SaverOptions& options, Reach reach);
    void confineTo(CommandFiles files, std::vector<std::string> folders);
    std::vector<std::string> compositions() const;
    OutsidePermissions permissions() const;
    void choose(const SaverOptions& options);
    std::shared_ptr<QCView> makeQCView();
    std::optional<int> configureReplay(const SaverOptions& options, Reach reach);
    void firstPictureIsThere();
    void tellOfInput(const QCView& view, const InputArgument& input);
    void applyInputs(const std::weak_ptr<QCView>& view);
    void beginOptions(const std::shared_ptr<CompositionView>& view);
    void applyStoredOptions();

    // Each after what it needs to its end: the session and the queues' blocks post to the loop, the blocks make
    // requests, the players use all.
    HostClock clock_;
    RunLoop runLoop_{clock_};
    std::unique_ptr<HostSignals> signals_; // before any thread is
    std::unique_ptr<OutsideLink> outside_; // before any thread is; null if it is free
    std::shared_ptr<CoverShelf> coverShelf_; // null: nothing is kept
    std::unique_ptr<SoundInput> sound_; // null: all is silent
    std::unique_ptr<LiveReplay> replay_; // null: the world feeds the compositions
    std::string replayName_;
    bool listens_ = false; // to this computer, as the user has chosen
    std::optional<qc::EarlyGLContext> earlyContext_;
    FileSystem files_;
    std::unique_ptr<DefaultsStore> defaults_;
    NSBundle bundle_;
    NSDistributedNotificationCenter notifications_;
    std::unique_ptr<URLSession> urlSession_; // null without data
    PoolQueue userInteractive_{2}, userInitiated_{2}, artwork_{2};
    PoolQueue feeds_{4}; // of as many addresses at once
    std::ofstream traceFile_;
    std::unique_ptr<TracePictures> tracePictures_;
    std::unique_ptr<InputTrace> trace_;
    std::vector<InputArgument> inputs_;
    int firstView_ = 0;
    std::string traceName_;
    bool isConfined_ = false;
    bool stopping_ = false, isForThisRun_ = false, hasLoaded_ = false, hasPicture_ = false;
    Surroundings surroundings_;
    std::unique_ptr<PlayerProvider> players_;
    SessionBus* sessionBus_ = nullptr; // theirs
    MprisPlayers* sessionPlayers_ = nullptr; // the same, if it is these
    std::vector<std::shared_ptr<VitrelView>> views_;
    std::vector<std::weak_ptr<CompositionView>> playing_;
    struct ViewOptions {
        std::weak_ptr<CompositionView> view;
        PlayedOptions options;
    };
    void applyOptions(ViewOptions& played, const Dictionary& options);
    std::vector<ViewOptions> options_;
    bool hasOptions_ = true;
    std::unique_ptr<FileWatch> settingsWatch_;
    std::string notice_;
};

} // namespace vitrel
