#pragma once

#include "platform/appkit/NSWindow.h"
#include "platform/foundation/CurlURLSession.h"
#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/FileSystem.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "platform/scriptingbridge/MprisPlayers.h"
#include "platform/scriptingbridge/SessionBus.h"
#include "programs/supervisor/HostSignals.h"
#include "programs/vitrel/ValueJson.h"
#include "saver/InputTrace.h"
#include "saver/VitrelView.h"

#include <CLI/CLI.hpp>

#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// What play and snapshot have in common on the command line.
struct SaverOptions {
    std::string file; // empty: what the user has chosen
    bool demo = false;
    std::string player; // a player's name; empty: whichever plays
    std::string systemVersion;
    std::string trace; // a file for the trace; empty: none
    std::vector<std::string> inputs; // KEY=VALUE
    bool withoutData = false; // no player, no network; nothing is stored

    // For play.
    bool random = false; // choose anew among the user's compositions
    bool fallback = false; // the default composition, whatever the user has chosen
    int firstView = 0; // the first view's number in the trace
    bool addToTrace = false; // others write it, too
};

// Adds them to a command.
void addSaverOptions(CLI::App& command, SaverOptions& options);
// False, with a line on standard error and the exit code in `code`, for options that make no sense.
bool checkSaverOptions(const SaverOptions& options, int& code);

// A real saver: the system's clock, loop, queues, stored settings and players, and the views that were made with them.
// Main thread.
class SaverHost
{
public:
    // Null, with a line on standard error and the exit code in `code`, for options that make no sense. With `onSignal`
    // it hears the signals that end a program, from then on; without, they do so on the spot.
    static std::unique_ptr<SaverHost> make(
        const SaverOptions& options, int& code, std::function<void(SaverHost&)> onSignal = {});
    ~SaverHost();

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
    // Starts every view's orderly stop; the loop ends half a second later, when all have stopped.
    void stop();
    bool stopping() const { return stopping_; }

private:
    SaverHost();
    bool configure(const SaverOptions& options, int& code);
    void playOnly(const std::string& path);
    void showDemoFeed(const std::string& path);
    void applyInputs(const std::weak_ptr<QCView>& view);

    // Each after what it needs to its end: the session and the queues' blocks post to the loop, the blocks make
    // requests, the players use all.
    SystemClock clock_;
    RunLoop runLoop_{clock_};
    std::unique_ptr<HostSignals> signals_; // before any thread is
    FileSystem files_;
    std::unique_ptr<DefaultsStore> defaults_;
    NSBundle bundle_;
    NSDistributedNotificationCenter notifications_;
    CurlURLSession urlSession_;
    PoolQueue userInteractive_{2}, userInitiated_{2};
    PoolQueue feeds_{4}; // of as many addresses at once
    std::ofstream traceFile_;
    std::unique_ptr<InputTrace> trace_;
    std::vector<InputArgument> inputs_;
    int firstView_ = 0;
    bool stopping_ = false;
    Surroundings surroundings_;
    std::unique_ptr<PlayerProvider> players_;
    SessionBus* sessionBus_ = nullptr; // theirs
    MprisPlayers* sessionPlayers_ = nullptr; // the same, if it is these
    std::vector<std::shared_ptr<VitrelView>> views_;
};

} // namespace vitrel
