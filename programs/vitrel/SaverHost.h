#pragma once

#include "platform/appkit/NSWindow.h"
#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/FileSystem.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "programs/vitrel/ValueJson.h"
#include "saver/InputTrace.h"
#include "saver/VitrelView.h"

#include <CLI/CLI.hpp>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// What play and snapshot have in common on the command line.
struct SaverOptions {
    std::string file; // empty: what the user has chosen
    bool demo = false;
    bool random = false;
    std::string player; // a player's name; empty: whichever plays
    std::string systemVersion;
    std::string trace; // a file for the trace; empty: none
    std::vector<std::string> inputs; // KEY=VALUE
};

// Adds them to a command.
void addSaverOptions(CLI::App& command, SaverOptions& options);

// A real saver: the system's clock, loop, queues, stored settings and players, and the views that were made with them.
// Main thread.
class SaverHost
{
public:
    // Null, with a line on standard error and the exit code in `code`, for options that make no sense.
    static std::unique_ptr<SaverHost> make(const SaverOptions& options, int& code);
    ~SaverHost();

    RunLoop& runLoop() { return runLoop_; }
    Surroundings& surroundings() { return surroundings_; }

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
    void applyInputs(const std::weak_ptr<QCView>& view);

    SystemClock clock_;
    RunLoop runLoop_{clock_};
    // Ahead of what their blocks may touch.
    FileSystem files_;
    std::unique_ptr<DefaultsStore> defaults_;
    NSBundle bundle_;
    NSDistributedNotificationCenter notifications_;
    std::unique_ptr<PlayerProvider> players_;
    PoolQueue userInteractive_{2}, userInitiated_{2};
    std::ofstream traceFile_;
    std::unique_ptr<InputTrace> trace_;
    std::vector<InputArgument> inputs_;
    std::vector<std::shared_ptr<VitrelView>> views_;
    bool stopping_ = false;
    Surroundings surroundings_;
};

} // namespace vitrel
