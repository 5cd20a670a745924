#include "programs/vitrel/WindowPlayer.h"

#include "platform/quartzcomposer/drawing/GLContext.h"
#include "programs/vitrel/Commands.h"

#include <unistd.h>

#include <algorithm>

namespace vitrel {

WindowPlayer::WindowPlayer(const PlayOptions& options, SaverHost& host)
    : options_(options)
    , host_(host)
{ }

WindowPlayer::~WindowPlayer() = default;

void WindowPlayer::stop()
{
    if (host_.stopping())
        return;
    // The user wants the screen now; the rest of the end needs no picture. A guest's window is its owner's to close.
    if (hostWindow_ && covers())
        hostWindow_->leave();
    HostSignals::capExit();
    host_.stop();
}

void WindowPlayer::dismiss()
{
    // The other displays' savers need not wait for this one's end.
    if (!host_.stopping() && signOfLife_)
        signOfLife_->tellDismissal();
    stop();
}

void WindowPlayer::displayIsGone()
{
    if (!host_.stopping())
        code_ = int(DisplayExit::Gone);
    stop();
}

// Tells the window which display it is on.
void WindowPlayer::lookAtDisplays()
{
    const auto all = displays();
    const std::string here = covers() ? options_.monitor : displayOfWindow();
    const auto place
        = std::find_if(all.begin(), all.end(), [&](const Display& display) { return display.name == here; });
    window_->setScreen(place == all.end() ? nullptr : place->screen);
}

void WindowPlayer::displaysChanged()
{
    lookAtDisplays();
    if (!covers())
        return;
    if (window_->screen())
        coverAgain();
    else if (isConnected())
        displayIsGone();
}

void WindowPlayer::connected()
{
    // Of all displays' savers one speaks.
    text_ = std::make_unique<LiveText>(host_, options_.file, options_.watch, !covers() || options_.firstView == 0);
    text_->begin();
}

int WindowPlayer::run()
{
    if (options_.supervisor > 0 && getppid() == options_.supervisor)
        signOfLife_ = std::make_unique<SignOfLife>(host_.runLoop());
    auto opened = open();
    if (!opened)
        return opened.error();
    hostWindow_ = *std::move(opened);
    const NSSize size{double(hostWindow_->width()), double(hostWindow_->height())};
    window_ = std::make_shared<NSWindow>(NSRect{{0, 0}, size}, hostWindow_->makeSurface());
    hostWindow_->onResized = [this](int width, int height) {
        host_.resizeView(*window_, {double(width), double(height)});
    };
    lookAtDisplays();
    if (!qc::GLContext::current()) {
        complain("there is no OpenGL 3.3 here");
        if (!options_.window.empty())
            return 1;
    }
    host_.meetPlayers();
    if (host_.stopping())
        return code_;
    view_ = host_.addView(window_, false);
    if (!view_)
        return complain("can't make a view");
    text_->attend(*view_);
    host_.followOptions();
    host_.runLoop().run();
    return code_;
}

int playWith(const PlayOptions& options, const std::function<std::unique_ptr<WindowPlayer>(SaverHost&)>& make,
    const std::function<int(int)>& noHost)
{
    WindowPlayer* running = nullptr;
    const auto host = SaverHost::make(options, SaverHost::Reach::Confined, [&](SaverHost& host) {
        if (running)
            running->stop();
        else
            host.stop();
    });
    if (!host)
        return noHost ? noHost(host.error()) : host.error();
    const auto player = make(**host);
    running = player.get();
    return player->run();
}

} // namespace vitrel
