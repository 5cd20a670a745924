// The process behind the settings window's preview. Not for users: the window starts it.
#include "programs/child/ChildProcess.h"
#include "programs/preview/PreviewMessages.h"
#include "programs/preview/PreviewSurface.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/SaverHost.h"

#include <fcntl.h>

namespace vitrel {

namespace {

int preview(int width, int height)
{
    if (fcntl(ChildProcess::kInherited, F_GETFD) < 0)
        return complain("only the settings window starts this", 2);
    closeAllBut({}, ChildProcess::kInherited);
    const auto made = SaverHost::make({}, SaverHost::Reach::Confined, [](SaverHost& saver) { saver.stop(); });
    if (!made)
        return made.error();
    const auto& host = *made;
    auto surface = std::make_unique<PreviewSurface>(host->runLoop(), ChildProcess::kInherited, width, height);
    PreviewSurface& screen = *surface;
    const NSSize size{double(screen.width()), double(screen.height())};
    const auto window = std::make_shared<NSWindow>(NSRect{{0, 0}, size}, std::move(surface));
    host->begin();
    host->meetPlayers();
    const auto view = host->addView(window, true);
    if (!view)
        return 1;
    screen.onResize = [&](int w, int h) { host->resizeView(*window, {double(w), double(h)}); };
    int code = 0;
    screen.onReload = [&] {
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
    const auto size = std::make_shared<std::pair<int, int>>(480, 270);
    command->add_option("--width", size->first)->check(CLI::Range(1, 4096));
    command->add_option("--height", size->second)->check(CLI::Range(1, 4096));
    command->callback([&action, size] { action = [size] { return preview(size->first, size->second); }; });
}

} // namespace vitrel
