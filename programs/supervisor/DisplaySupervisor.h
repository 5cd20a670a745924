#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// What a display's child says with its exit status. Anything else, a signal too, is a crash.
enum class DisplayExit {
    Dismissed = 0, // by a key, the mouse, or its window's end: playing is over on all displays
    Gone = 3, // the display isn't there any more: no reason to start again
    Script = 4, // a script of the composition ended it; the next one won't run it
};

// The children that play, one for each display, by the display's name. Main thread.
class DisplayProcesses
{
public:
    virtual ~DisplayProcesses() = default;
    // Starts the display's child, with the default composition if `fallback`. False if there can't be one; else its end
    // is told by onExit, from a later turn.
    virtual bool start(const std::string& display, bool fallback) = 0;
    // Does nothing to a display without a child.
    virtual void signal(const std::string& display, int signal) = 0;
    // `status`: the exit status, or the negative number of the signal that ended it.
    std::function<void(const std::string& display, int status)> onExit;
    // From a turn, every few seconds: the child's own loop turns.
    std::function<void(const std::string& display)> onAlive;
    // From a turn: a child has seen that the user is back. It ends by itself.
    std::function<void()> onDismissed;
};

// Full-screen play: one child for each display, so that a composition or a driver that crashes darkens no other. A
// child that crashed starts again after a quarter of a second; after three crashes it plays the default composition,
// and if that crashes, too, the pauses grow. One that a script has ended starts again at once. One that gives no sign
// of life for six seconds hangs, in a driver say, and is killed, which counts as a crash. Displays that come and go get
// and lose their children. Main thread.
class DisplaySupervisor
{
public:
    DisplaySupervisor(RunLoop& loop, DisplayProcesses& processes);
    ~DisplaySupervisor();
    DisplaySupervisor(const DisplaySupervisor&) = delete;
    DisplaySupervisor& operator=(const DisplaySupervisor&) = delete;

    // The displays as they are now. Starts the children that are missing and ends those of displays that are gone.
    void setDisplays(const std::vector<std::string>& displays);
    // Ends all children. The end comes within a second, whatever they do.
    void stop();
    bool isStopping() const { return stopping_; }

    // Once, from a turn: all is over. 0 if it was stopped or dismissed, 1 if no display could be played on.
    std::function<void(int exitCode)> onEnded;

private:
    struct Child {
        bool wanted = false; // the display is there
        bool running = false;
        bool ending = false; // it was told to end
        int crashes = 0; // since it last ran for long
        Seconds started{0}, alive{0}; // the last sign of life
        int starts = 0; // tells the kill of an earlier child that it is too late
    };

    void start(const std::string& display);
    void end(const std::string& display);
    void exited(const std::string& display, int status);
    void crashed(const std::string& display, bool byScript = false);
    void lookForHangs();
    void endIfNobodyIsLeft();
    void ended(int exitCode);
    void after(Seconds delay, std::function<void()> block);

    RunLoop& loop_;
    DisplayProcesses& processes_;
    std::map<std::string, Child> children_;
    Seconds looked_{0};
    bool stopping_ = false, ended_ = false, played_ = false;
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

} // namespace vitrel
