// Full-screen play: the process that starts and minds a child for each display and shows nothing itself.
#include "platform/appkit/x11/X11Screens.h"
#include "platform/quartzcomposer/script/ScriptRecord.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/InitialChoice.h"
#include "preferences/Settings.h"
#include "preferences/StartSettings.h"
#include "programs/supervisor/ForkedDisplays.h"
#include "programs/supervisor/HostSignals.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Play.h"
#include "programs/vitrel/SaverSound.h"
#include "programs/vitrel/SettingsHost.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>

namespace vitrel {

namespace {

static_assert(kEndedByScript == static_cast<int>(DisplayExit::Script));

struct ChildPlace {
    std::string monitor;
    int view = 0;
    Seconds fadeIn{0};
    bool fallback = false;
};

PlayOptions childOptions(PlayOptions options, const ChildPlace& place)
{
    options.monitor = place.monitor;
    options.supervisor = getpid();
    options.firstView = place.view;
    options.addToTrace = !options.trace.empty();
    options.fadeIn = place.fadeIn;
    options.fallback = place.fallback;
    options.random = false;
    if (place.fallback) {
        options.file.clear();
        options.chosen.clear();
        options.watch = false;
        options.inputs.clear();
        options.sound = "off";
    }
    return options;
}

// How it comes up and where, by what the command line says, else by what the user has chosen.
StartSettings startOf(const PlayOptions& options)
{
    SettingsHost host;
    auto settings = startSettings(host.surroundings());
    if (!options.monitors.empty())
        settings.displays = displaysNamed(options.monitors);
    if (options.noFade || options.fade)
        settings.fade = Seconds(options.noFade ? 0 : *options.fade);
    return settings;
}

// Chosen here for all displays, those that come later and those that start again, too. Empty if it isn't by chance.
std::string chosenAtRandom(const PlayOptions& options)
{
    if (!options.file.empty() || options.demo)
        return {};
    SettingsHost host;
    const bool always
        = Settings::shared(host.surroundings()).screenSaverDefaults()->boolForKey("Use Random Screen Saver");
    const auto path = always || options.random ? randomComposition(host.surroundings()) : std::nullopt;
    // As the view does by itself where it is alone. A wish for this once leaves the user's choice alone.
    if (path && always) {
        host.controller().setFilePathActive(*path);
        host.store();
    }
    return path.value_or("");
}

class X11Displays final : public DisplayList
{
public:
    explicit X11Displays(std::shared_ptr<X11Connection> connection)
        : connection_(std::move(connection))
    {
        connection_->onLost = [this] { onLost(); };
        connection_->onScreensChanged = [this] { onChanged(); };
    }
    ~X11Displays() override { connection_->onLost = connection_->onScreensChanged = nullptr; }
    std::vector<std::string> names() override
    {
        std::vector<std::string> names;
        for (const auto& monitor : x11Monitors(*connection_))
            names.push_back(monitor.name);
        return names;
    }

private:
    std::shared_ptr<X11Connection> connection_;
};

std::unique_ptr<DisplayList> openDisplays(RunLoop& loop, bool wayland)
{
    if (wayland)
        return waylandDisplays(loop);
    if (auto connection = X11Connection::open(loop))
        return std::make_unique<X11Displays>(std::move(connection));
    complainOfDisplay();
    return nullptr;
}

} // namespace

int playFullScreen(PlayOptions options)
{
    // What is wrong is said once, and not by each child.
    if (const auto wrong = complainOfSaverOptions(options))
        return *wrong;
    SystemClock clock;
    if (const auto sound = soundPlayedFor(options, clock); !sound)
        return sound.error();
    int code = 0;
    options.chosen = chosenAtRandom(options);
    const StartSettings settings = startOf(options);
    RunLoop loop(clock);
    DisplaySupervisor* minding = nullptr;
    const HostSignals signals(loop, [&](int) {
        HostSignals::capExit();
        minding->stop();
    });
    const auto displays = openDisplays(loop, options.wayland);
    if (!displays)
        return 1;
    if (!options.trace.empty() && !std::ofstream(options.trace, std::ios::trunc))
        return complain("can't write " + options.trace);

    ScriptRecord::keep();
    std::vector<std::string> seen; // a monitor's place in it is its view's number
    std::set<std::string> fading; // monitors that still show the desktop; what comes later comes up at once
    ForkedDisplays children(loop, [&](const std::string& monitor, bool fallback) {
        const auto view = std::find(seen.begin(), seen.end(), monitor) - seen.begin();
        const Seconds fadeIn = fading.erase(monitor) > 0 ? settings.fade : Seconds(0);
        ScriptRecord::takeStock(static_cast<std::size_t>(view));
        return [child = childOptions(options, {monitor, static_cast<int>(view), fadeIn, fallback})] {
            ScriptRecord::settle(static_cast<std::size_t>(child.firstView));
            return child.wayland ? playInWaylandWindow(child) : playInWindow(child);
        };
    });
    DisplaySupervisor supervisor(loop, children);
    minding = &supervisor;
    supervisor.onEnded = [&](int exitCode) {
        code = exitCode;
        loop.stop();
    };
    displays->onLost = [&] { supervisor.stop(); };
    displays->onChanged = [&] {
        const auto names = displaysToCover(displays->names(), settings.displays);
        for (const auto& name : names)
            if (std::find(seen.begin(), seen.end(), name) == seen.end())
                seen.push_back(name);
        supervisor.setDisplays(names);
    };
    for (const auto& name : displays->names())
        fading.insert(name);
    displays->onChanged();
    loop.run();
    return code;
}

} // namespace vitrel
