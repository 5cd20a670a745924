#pragma once

#include "platform/appkit/HostWindow.h"
#include "programs/supervisor/DisplaySupervisor.h"
#include "programs/supervisor/SignOfLife.h"
#include "programs/vitrel/Play.h"
#include "programs/watch/FileWatch.h"

#include <functional>
#include <memory>

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
    // Connects, and makes the window. Null, with the exit code in `code` and a line said if one is due, if there is
    // none to be had. From here on dismiss and displayIsGone may be called.
    virtual std::unique_ptr<HostWindow> open(int& code) = 0;
    // Tells the surroundings of the displays, and the window which it is on; once the window is there.
    virtual void lookAtScreens(NSWindow& window) = 0;

    const PlayOptions& options() const { return options_; }
    SaverHost& host() { return host_; }
    NSWindow& window() { return *window_; }
    // The user is back, or the server has gone: all displays' savers end.
    void dismiss();
    // This display's end is no other's.
    void displayIsGone();

private:
    void fileChanged();

    const PlayOptions& options_;
    SaverHost& host_;
    int code_ = 0;
    std::unique_ptr<HostWindow> hostWindow_;
    std::shared_ptr<NSWindow> window_;
    std::shared_ptr<VitrelView> view_;
    std::unique_ptr<FileWatch> watch_;
    std::unique_ptr<SignOfLife> signOfLife_;
};

// Makes the host, and in it the player, and runs it. Gives the exit code; `noHost`, if not null, is set if it is that
// of a host that couldn't be made.
int playWith(const PlayOptions& options, const std::function<std::unique_ptr<WindowPlayer>(SaverHost&)>& make,
    bool* noHost = nullptr);

} // namespace vitrel
