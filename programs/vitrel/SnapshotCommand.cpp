#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/MemorySurface.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Files.h"
#include "programs/vitrel/SaverHost.h"

namespace vitrel {

namespace {

struct SnapshotOptions : SaverOptions {
    std::string output, size = "1280x720";
    double after = 2;
};

int snapshot(const SnapshotOptions& options)
{
    const auto size = parseSize(options.size);
    if (!size)
        return complain("--size takes WIDTHxHEIGHT, each from 1 to 8192", 2);
    qc::prepareSoftwareRendering();
    int code = 0;
    const auto host = SaverHost::make(options, code);
    if (!host)
        return code;
    auto surface = std::make_unique<MemorySurface>(size->first, size->second);
    MemorySurface& screen = *surface;
    const NSRect frame = makeRect(0, 0, size->first, size->second);
    const auto window = std::make_shared<NSWindow>(frame, std::move(surface));
    host->meetPlayers();
    if (!host->addView(window, false))
        return complain("can't make a view");
    host->runLoop().postAfter(Seconds(options.after), [&] { host->runLoop().stop(); });
    host->runLoop().run();
    const auto shown = screen.shown();
    if (!shown)
        return complain(qc::GLContext::current() ? "there was no picture in this time" : "there is no OpenGL 3.3 here");
    // As a screen shows it: what a composition left transparent is black.
    Bitmap opaque = *shown;
    for (std::uint32_t& pixel : opaque.pixels)
        pixel |= 0xFF000000u;
    const auto png = pngRepresentation(opaque);
    if (!png || !writeWhole(options.output, *png))
        return complain("can't write " + options.output);
    host->stop();
    host->runLoop().run();
    return 0;
}

} // namespace

void addSnapshot(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("snapshot", "Play without a display and write one picture");
    const auto options = std::make_shared<SnapshotOptions>();
    addSaverOptions(*command, *options);
    command->add_option("--output,-o", options->output, "The PNG file to write")->required();
    command->add_option("--size", options->size, "WIDTHxHEIGHT in pixels; 1280x720 if not given");
    command->add_option("--after", options->after, "Seconds to play; 2 if not given")->check(CLI::Range(0.0, 86400.0));
    command->add_flag("--without-data", options->withoutData)->group(""); // for the window's thumbnails
    command->callback([&action, options] { action = [=] { return snapshot(*options); }; });
}

} // namespace vitrel
