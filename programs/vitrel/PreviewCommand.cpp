// The process behind the settings window's preview. Not for users: the window starts it.
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/InitialChoice.h"
#include "preferences/Settings.h"
#include "programs/child/ChildProcess.h"
#include "programs/preview/PreviewMessages.h"
#include "programs/preview/PreviewSurface.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/LiveText.h"
#include "programs/vitrel/PanelTalk.h"
#include "programs/vitrel/SaverHost.h"

#include <fcntl.h>

namespace vitrel {

namespace {

struct PreviewOptions : SaverOptions {
    int width = 480, height = 270;
    bool panel = false, watch = false;
};

std::string activePath(SaverHost& host)
{
    const auto defaults = Settings::shared(host.surroundings()).screenSaverDefaults();
    return defaults->stringForKey("Active File Path").value_or("");
}

int preview(PreviewOptions options)
{
    // An author's panel shows the composition's own values, and keeps changes in its file.
    options.ownValues = options.panel;
    if (fcntl(ChildProcess::kInherited, F_GETFD) < 0)
        return complain("only the settings window starts this", 2);
    closeAllBut({}, ChildProcess::kInherited);
    const auto made = SaverHost::make(options, SaverHost::Reach::Confined, [](SaverHost& saver) { saver.stop(); });
    if (!made)
        return made.error();
    const auto& host = *made;
    auto surface
        = std::make_unique<PreviewSurface>(host->runLoop(), ChildProcess::kInherited, options.width, options.height);
    PreviewSurface& screen = *surface;
    const NSSize size{double(screen.width()), double(screen.height())};
    const auto window = std::make_shared<NSWindow>(NSRect{{0, 0}, size}, std::move(surface));
    LiveText text(*host, options.file, options.watch, options.panel);
    text.begin();
    host->meetPlayers();
    PanelTalk talk(*host, screen, options.panel ? PanelTalk::About::Inputs : PanelTalk::About::Options,
        options.panel ? activePath(*host) : "");
    const auto view = host->addView(window, !options.panel);
    if (!view)
        return 1;
    if (options.panel)
        talk.attend(*view);
    text.attend(*view);
    screen.onResize = [&](int w, int h) { host->resizeView(*window, {double(w), double(h)}); };
    int code = 0;
    screen.onReload = [&] {
        setInitialChoice(host->surroundings(), true);
        if (host->reachesComposition() && host->hearsAsChosen())
            return view->fileDidChange();
        code = kPreviewAnew;
        host->runLoop().stop();
    };
    // Nobody sees an orderly stop any more.
    screen.onEnd = [&] { host->runLoop().stop(); };
    host->runLoop().run();
    return code;
}

} // namespace

void addPreview(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("preview", "Draw the preview of the settings window")->group("");
    const auto options = std::make_shared<PreviewOptions>();
    addSaverOptions(*command, *options);
    command->add_option("--width", options->width)->check(CLI::Range(1, 4096));
    command->add_option("--height", options->height)->check(CLI::Range(1, 4096));
    command->add_flag("--panel", options->panel);
    command->add_flag("--watch", options->watch);
    command->callback([&action, options] { action = [options] { return preview(*options); }; });
}

} // namespace vitrel
