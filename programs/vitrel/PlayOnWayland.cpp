// A saver on a Wayland compositor: in an ordinary window, or covering one output or all.
#include "platform/appkit/wayland/WaylandWindow.h"
#include "programs/vitrel/Arguments.h"
#include "programs/vitrel/Commands.h"
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
    Opened open() override;
    std::vector<Display> displays() override { return displaysOf(connection_->outputs()); }
    std::string displayOfWindow() override;
    bool isConnected() const override { return connection_->isAlive(); }
    std::unique_ptr<WaylandWindow> makeWindow();

    std::shared_ptr<WaylandConnection> connection_;
};

WaylandPlayer::~WaylandPlayer()
{
    if (connection_)
        connection_->onLost = connection_->onOutputsChanged = nullptr;
}

std::unique_ptr<WaylandWindow> WaylandPlayer::makeWindow()
{
    using Entrance = WaylandWindow::Entrance;
    if (!covers()) {
        const auto [width, height] = *parseSize(options().window);
        return WaylandWindow::open(connection_, "Vitrel", width, height);
    }
    for (const auto& output : connection_->outputs()) {
        if (output.name == options().monitor)
            return WaylandWindow::cover(connection_, output,
                options().fadeIn > Seconds(0) ? Entrance::Gentle : Entrance::AtOnce, options().fadeIn);
    }
    return nullptr;
}

WindowPlayer::Opened WaylandPlayer::open()
{
    connection_ = openWayland(host().runLoop(), covers());
    if (!connection_)
        return 1;
    connected();
    auto window = makeWindow();
    // Without a compositor the supervisor ends, too.
    if (!window || window->isClosed())
        return covers() ? int(DisplayExit::Gone) : complain("the compositor makes no window");
    window->onDismissed = connection_->onLost = [this] { dismiss(); };
    window->onClosed = [this] {
        // A window that is full screen is moved elsewhere, or closed, by compositors when its output goes.
        if (covers() && isConnected())
            displayIsGone();
        else
            dismiss();
    };
    connection_->onOutputsChanged = [this] { displaysChanged(); };
    return std::unique_ptr<HostWindow>(std::move(window));
}

// Where an ordinary window stands nobody is told; so it counts as being on the first.
std::string WaylandPlayer::displayOfWindow()
{
    const auto outputs = connection_->outputs();
    return outputs.empty() ? "" : outputs.front().name;
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
