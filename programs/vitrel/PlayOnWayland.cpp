// A saver on a Wayland compositor: in an ordinary window, or covering one output or all.
#include "platform/appkit/wayland/WaylandWindow.h"
#include "programs/vitrel/Arguments.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Files.h"
#include "programs/vitrel/WindowPlayer.h"

#include <algorithm>

namespace vitrel {

namespace {

// Null, with a line said, if there is none that windows can be shown on.
std::shared_ptr<WaylandConnection> openWayland(RunLoop& loop, bool toCover)
{
    auto connection = WaylandConnection::open(loop);
    if (!connection) {
        complain("the Wayland compositor doesn't answer");
        return nullptr;
    }
    if (const std::string missing = connection->missing(toCover); !missing.empty()) {
        complain("the Wayland compositor doesn't offer what a window needs: " + missing);
        return nullptr;
    }
    return connection;
}

class WaylandPlayer final : public WindowPlayer
{
public:
    using WindowPlayer::WindowPlayer;
    ~WaylandPlayer() override;

private:
    std::unique_ptr<HostWindow> open(int& code) override;
    void lookAtScreens(NSWindow& window) override;
    std::unique_ptr<WaylandWindow> makeWindow();
    const WaylandOutput* output() const;
    void outputsChanged();

    std::shared_ptr<WaylandConnection> connection_;
    std::vector<WaylandOutput> outputs_;
};

WaylandPlayer::~WaylandPlayer()
{
    if (connection_)
        connection_->onLost = connection_->onOutputsChanged = nullptr;
}

// Null if there is no such one, or the window isn't bound to any.
const WaylandOutput* WaylandPlayer::output() const
{
    const auto place = std::find_if(outputs_.begin(), outputs_.end(),
        [&](const WaylandOutput& output) { return output.name == options().monitor; });
    return place == outputs_.end() ? nullptr : &*place;
}

std::unique_ptr<WaylandWindow> WaylandPlayer::makeWindow()
{
    using Entrance = WaylandWindow::Entrance;
    if (!options().monitor.empty())
        return output()
            ? WaylandWindow::cover(connection_, *output(), options().fadeIn ? Entrance::Gentle : Entrance::AtOnce)
            : nullptr;
    const auto [width, height] = *parseSize(options().window);
    return WaylandWindow::open(connection_, "Vitrel", width, height);
}

std::unique_ptr<HostWindow> WaylandPlayer::open(int& code)
{
    const bool toCover = !options().monitor.empty();
    connection_ = openWayland(host().runLoop(), toCover);
    if (!connection_) {
        code = 1;
        return nullptr;
    }
    outputs_ = connection_->outputs();
    auto window = makeWindow();
    if (!window || window->isClosed()) {
        // Without a compositor the supervisor ends, too.
        code = toCover ? int(DisplayExit::Gone) : complain("the compositor makes no window");
        return nullptr;
    }
    window->onDismissed = connection_->onLost = [this] { dismiss(); };
    window->onClosed = [this, toCover] {
        if (toCover && connection_->isAlive())
            displayIsGone();
        else
            dismiss();
    };
    connection_->onOutputsChanged = [this] { outputsChanged(); };
    host().surroundings().screens = [this] {
        std::vector<std::shared_ptr<const NSScreen>> screens;
        for (const auto& output : outputs_)
            screens.push_back(std::make_shared<const NSScreen>(output.screen));
        return screens;
    };
    host().surroundings().displays = [this] {
        std::vector<DisplayInformation> displays;
        for (const auto& output : outputs_)
            displays.push_back(output.information);
        return displays;
    };
    return window;
}

// Where an ordinary window stands nobody is told; so it counts as being on the first.
void WaylandPlayer::lookAtScreens(NSWindow& window)
{
    const auto* here = output();
    if (!here && options().monitor.empty() && !outputs_.empty())
        here = &outputs_.front();
    window.setScreen(here ? std::make_shared<const NSScreen>(here->screen) : nullptr);
}

void WaylandPlayer::outputsChanged()
{
    outputs_ = connection_->outputs();
    lookAtScreens(window());
    // A window that is full screen is moved elsewhere by compositors when its output goes.
    if (!options().monitor.empty() && !output())
        displayIsGone();
}

class WaylandDisplays final : public DisplayList
{
public:
    explicit WaylandDisplays(std::shared_ptr<WaylandConnection> connection)
        : connection_(std::move(connection))
    {
        connection_->onLost = [this] { onLost(); };
        connection_->onOutputsChanged = [this] { onChanged(); };
    }
    ~WaylandDisplays() override { connection_->onLost = connection_->onOutputsChanged = nullptr; }
    std::vector<std::string> names() override
    {
        std::vector<std::string> names;
        for (const auto& output : connection_->outputs())
            names.push_back(output.name);
        return names;
    }

private:
    std::shared_ptr<WaylandConnection> connection_;
};

} // namespace

bool isOnWayland()
{
    return WaylandConnection::isThere();
}

int playInWaylandWindow(const PlayOptions& options)
{
    return playWith(options, [&](SaverHost& host) { return std::make_unique<WaylandPlayer>(options, host); });
}

std::unique_ptr<DisplayList> waylandDisplays(RunLoop& loop)
{
    auto connection = openWayland(loop, true);
    return connection ? std::make_unique<WaylandDisplays>(std::move(connection)) : nullptr;
}

} // namespace vitrel
