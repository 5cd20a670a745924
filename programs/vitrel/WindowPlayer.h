#pragma once

#include "platform/appkit/HostWindow.h"
#include "platform/appkit/NSScreen.h"
#include "programs/supervisor/DisplaySupervisor.h"
#include "programs/supervisor/SignOfLife.h"
#include "programs/vitrel/Play.h"
#include "programs/watch/FileWatch.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// A saver in one window of a display server, from its start to its orderly end. What differs between servers is in
// those that derive from it. Main thread.
class WindowPlayer
{
public:
    WindowPlayer(const PlayOptions& options, SaverHost& host);
    virtual ~WindowPlayer();
    WindowPlayer(const WindowPlayer&) = delete;
    WindowPlayer& operator=(const WindowPlayer&) = delete;

    // Gives the exit code, DisplayExit's for a child of full-screen play.
    int run();
    void stop();

protected:
    // A display as all servers' have it.
    struct Display {
        std::string name;
        std::shared_ptr<const NSScreen> screen;
    };
    template <class Displays> static std::vector<Display> displaysOf(const Displays& theirs)
    {
        std::vector<Display> displays;
        for (const auto& display : theirs)
            displays.push_back({display.name, std::make_shared<const NSScreen>(display.screen)});
        return displays;
    }

    // Connects, calls `connected`, and makes the window. An exit code, with a line said if one is due, if there is none
    // to be had. From here on what is below may be called, and dismiss, displayIsGone and displaysChanged.
    using Opened = Result<std::unique_ptr<HostWindow>, int>;
    virtual Opened open() = 0;
    // Once the display is connected: confines the process, and begins all that the first picture waits for.
    void connected();
    // As they are now.
    virtual std::vector<Display> displays() = 0;
    // The name of the display that an ordinary window is on.
    virtual std::string displayOfWindow() = 0;
    virtual bool isConnected() const = 0;
    // The display that the window covers may be elsewhere, or of another size.
    virtual void coverAgain() { }

    const PlayOptions& options() const { return options_; }
    SaverHost& host() { return host_; }
    // Of full-screen play: its window covers a display.
    bool covers() const { return !options_.monitor.empty(); }
    // The user is back, or the server has gone: all displays' savers end.
    void dismiss();
    // This display's end is no other's.
    void displayIsGone();
    void displaysChanged();

private:
    void fileChanged();
    bool isTold() const;
    bool tellOfText();
    void lookAtDisplays();

    const PlayOptions& options_;
    SaverHost& host_;
    int code_ = 0;
    std::unique_ptr<HostWindow> hostWindow_;
    std::shared_ptr<NSWindow> window_;
    std::shared_ptr<VitrelView> view_;
    std::unique_ptr<FileWatch> watch_;
    std::unique_ptr<SignOfLife> signOfLife_;
};

// Makes the host, and in it the player, and runs it. Gives the exit code. One for a host that can't be made goes
// through `noHost` first, if that is given.
int playWith(const PlayOptions& options, const std::function<std::unique_ptr<WindowPlayer>(SaverHost&)>& make,
    const std::function<int(int code)>& noHost = {});

} // namespace vitrel
