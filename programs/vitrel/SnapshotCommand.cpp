#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/MemorySurface.h"
#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/CompositionView.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "programs/vitrel/AboutJson.h"
#include "programs/vitrel/Arguments.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Confining.h"
#include "programs/vitrel/FramePlay.h"
#include "programs/vitrel/SaverHost.h"
#include "programs/vitrel/TextReport.h"
#include "support/PrintKit.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace vitrel {

namespace {

struct SnapshotOptions : SaverOptions {
    std::string output, size = "1280x720", facts;
    std::optional<double> after;
    bool thumbnail = false;
};

constexpr double kUsualTime = 2, kThumbnailTime = 1;
// File managers wait for one picture after the other, and some for each without end. Several threads draw.
constexpr unsigned kThumbnailSeconds = 20, kThumbnailProcessorSeconds = 30;

// The largest picture of a screen's shape in a box.
std::pair<int, int> screenWithin(std::pair<int, int> box)
{
    if (box.first * 9 <= box.second * 16)
        return {box.first, std::max(1, (box.first * 9 + 8) / 16)};
    return {std::max(1, (box.second * 16 + 4) / 9), box.second};
}

// The picture, or an exit code with a line said.
Result<Bitmap, int> replayed(const SnapshotOptions& options, int width, int height)
{
    const auto play = FramePlay::make(options, width, height, {{}, {options.output}});
    if (!play)
        return play.error();
    constexpr double kRate = 60;
    if (!(*play)->drawFrames(options.after.value_or(kUsualTime), kRate))
        return 1;
    Bitmap picture{width, height, {}};
    picture.pixels.resize(std::size_t(width) * std::size_t(height));
    (*play)->view().readInto(picture.pixels.data());
    return picture;
}

int write(const Bitmap& picture, const std::string& path)
{
    const auto png = pngRepresentation(picture);
    return png && writeFile(path, *png) == 0 ? 0 : complain("can't write " + path);
}

int snapshot(const SnapshotOptions& options)
{
    auto size = parseSize(options.size);
    if (!size)
        return complain("--size takes WIDTHxHEIGHT, each from 1 to 8192", 2);
    if (options.thumbnail) {
        size = screenWithin(*size);
        alarm(kThumbnailSeconds);
        const rlimit processor{kThumbnailProcessorSeconds, kThumbnailProcessorSeconds};
        setrlimit(RLIMIT_CPU, &processor);
    }
    const CommandFiles files{{}, {options.output, options.facts}};
    closeAllBut(files);
    if (!options.replay.empty()) {
        const auto picture = replayed(options, size->first, size->second);
        return picture ? write(*picture, options.output) : picture.error();
    }
    const auto made = SaverHost::make(options, SaverHost::Reach::Confined);
    if (!made)
        return made.error();
    const auto& host = *made;
    auto surface = std::make_unique<MemorySurface>(size->first, size->second);
    MemorySurface& screen = *surface;
    const NSRect frame = makeRect(0, 0, size->first, size->second);
    const auto window = std::make_shared<NSWindow>(frame, std::move(surface));
    if (!options.facts.empty())
        host->onLoaded = [&](CompositionView& playing) {
            writeFile(options.facts, bytesOf(aboutJson(playing.about()).dump()), {.mode = 0600, .lasting = false});
        };
    host->begin(files);
    if (!options.file.empty())
        reportText(options.file);
    host->meetPlayers();
    if (!host->addView(window, false))
        return complain("can't make a view");
    host->runLoop().postAfter(Seconds(options.after.value_or(options.thumbnail ? kThumbnailTime : kUsualTime)),
        [&] { host->runLoop().stop(); });
    host->runLoop().run();
    const auto shown = screen.shown();
    if (!shown)
        return complain(qc::GLContext::current() ? "there was no picture in this time" : "there is no OpenGL 3.3 here");
    // As a screen shows it: what a composition left transparent is black.
    Bitmap opaque = *shown;
    for (std::uint32_t& pixel : opaque.pixels)
        pixel |= 0xFF000000u;
    if (const int code = write(opaque, options.output))
        return code;
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
    command->add_flag("--thumbnail", options->thumbnail,
        "A small picture for a file manager: 16:9 within the size, after 1 second, without player and network");
    command->add_flag("--without-data", options->withoutData)->group(""); // for the window's thumbnails
    command->add_option("--facts", options->facts)->group(""); // likewise: what it says of itself
    const auto verbose = addVerbose(*command);
    command->callback([&action, options, verbose] {
        options->logs = *verbose;
        // Standard output is where the picture may go.
        print::setDestination(*verbose ? print::Destination::StandardError : print::Destination::Nowhere);
        options->withoutData |= options->thumbnail;
        action = [=] { return snapshot(*options); };
    });
}

} // namespace vitrel
