#pragma once

#include "base/Clock.h"
#include "base/Result.h"
#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/FileSystem.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "platform/quartzcomposer/FrameView.h"
#include "platform/sound/SoundInput.h"
#include "programs/vitrel/Confining.h"
#include "programs/vitrel/SaverOptions.h"
#include "saver/VitrelView.h"
#include "traces/Replay.h"

#include <memory>

namespace vitrel {

// A whole saver on a clock that the frames turn: covers and feeds are there when they are asked for, and who is slow
// takes longer and shows the same. With a trace to replay that alone feeds the composition. Main thread.
class FramePlay
{
public:
    // An exit code, with a line on standard error, for options that make no sense, and for no composition. Confines the
    // process to what it plays and `files`.
    static Result<std::unique_ptr<FramePlay>, int> make(
        const SaverOptions& options, int width, int height, CommandFiles files);
    ~FramePlay();

    // Goes on to `time`, in seconds, and draws. False, with a line on standard error, without OpenGL.
    bool drawFrame(double time);
    // Through the frames before, `rate` a second.
    bool drawFrames(double until, double rate);
    FrameView& view() { return *view_; }

private:
    FramePlay(int width, int height);
    bool load(const SaverOptions& options, const std::string& path);
    bool loadForReplay(const std::string& path);
    void feed(const SaverOptions& options, const std::string& path);
    bool applyInputs(const std::vector<std::string>& inputs);
    void goOnTo(Seconds time);
    void settle();

    ManualClock clock_;
    RunLoop runLoop_{clock_};
    FileSystem files_;
    DefaultsStore defaults_;
    NSBundle bundle_;
    NSDistributedNotificationCenter notifications_{runLoop_};
    ManualQueue userInteractive_, userInitiated_, artwork_, feeds_;
    std::unique_ptr<SoundInput> sound_; // null: all is silent
    std::shared_ptr<void> listening_;
    std::unique_ptr<Replay> replay_; // null: the saver feeds it
    Surroundings surroundings_;
    std::unique_ptr<PlayerProvider> players_;
    std::shared_ptr<FrameView> view_;
    std::shared_ptr<VitrelView> saver_;
    Dictionary options_; // of the user's, for what plays
};

} // namespace vitrel
