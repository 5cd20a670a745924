// What a player in a window costs and how fast it is, on a server without a screen of its own and a bus of its own:
// bench_player [first] [frames] [large] [still] [change] [memory]; all without a word. Prints a table.
#include "platform/appkit/x11/X11Window.h"
#include "platform/messagebus/BusTypes.h"
#include "platform/quartzcomposer/CompositionView.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/SaverHost.h"
#include "support/TemporaryFolder.h"
#include "x11/XvfbServer.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <vips/vips.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>

#include <spawn.h>
#include <sys/resource.h>

namespace vitrel {

int complain(const std::string& message, int code)
{
    std::cerr << "bench_player: " << message << '\n';
    return code;
}

namespace {

constexpr int kWidth = 1280, kHeight = 720;
constexpr const char* kPlayer = "org.mpris.MediaPlayer2.Player";
using Variants = std::map<std::string, sdbus::Variant>;

double now()
{
    return SystemClock().now().count();
}

double processorTime()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

std::string share(const std::string& name)
{
    return *NSBundle::forExecutable().pathForResourceOfType(name, "qtz");
}

// Of another process: resident, its share of it where pages are shared, and what is its own alone, in MiB.
struct Memory {
    double resident = 0, share = 0, own = 0;
};

Memory memoryOf(pid_t process)
{
    Memory memory;
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    for (std::string line; std::getline(file, line);) {
        const double mebibytes = std::atof(line.c_str() + line.find(':') + 1) / 1024;
        if (line.starts_with("Rss:"))
            memory.resident = mebibytes;
        else if (line.starts_with("Pss:"))
            memory.share = mebibytes;
        else if (line.starts_with("Private_"))
            memory.own += mebibytes;
    }
    return memory;
}

double residentMiB()
{
    long pages = 0;
    if (FILE* file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%*s %ld", &pages) != 1)
            pages = 0;
        std::fclose(file);
    }
    return double(pages) * double(sysconf(_SC_PAGESIZE)) / 1048576;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

void row(const std::string& what, const std::string& value)
{
    std::printf("| %-64s | %-28s |\n", what.c_str(), value.c_str());
    std::fflush(stdout);
}

template <class... Numbers> std::string text(const char* format, Numbers... numbers)
{
    char buffer[200];
    std::snprintf(buffer, sizeof buffer, format, numbers...);
    return buffer;
}

std::string bin()
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "bin/vitrel";
}

// From the start of the program to the first pixel of its window that isn't black, as another client sees it.
void firstFrame(const std::string& display, const std::string& name, std::vector<const char*> words)
{
    words.insert(words.begin(), "vitrel");
    words.push_back(nullptr);
    Display* server = XOpenDisplay(display.c_str());
    std::vector<double> times;
    for (int run = 0; run < 11; ++run) {
        const double start = now();
        const pid_t process = fork();
        if (process == 0) {
            execv(bin().c_str(), const_cast<char* const*>(words.data()));
            _exit(127);
        }
        for (bool shown = false; !shown && now() - start < 10;) {
            XImage* image = XGetImage(server, DefaultRootWindow(server), 300, 500, 1, 1, AllPlanes, ZPixmap);
            shown = image && (XGetPixel(image, 0, 0) & 0xFFFFFF) != 0;
            if (image)
                XDestroyImage(image);
            if (!shown)
                usleep(500);
        }
        if (run > 0) // the first warms the caches
            times.push_back((now() - start) * 1000);
        ::kill(process, SIGTERM);
        waitpid(process, nullptr, 0);
    }
    XCloseDisplay(server);
    row("first frame: " + name + ", median of 10", text("%.0f ms", median(times)));
    row("  fastest, slowest",
        text("%.0f, %.0f ms", *std::min_element(times.begin(), times.end()),
            *std::max_element(times.begin(), times.end())));
}

// A saver in a window, as the program has it, in this process.
struct Shown {
    explicit Shown(SaverOptions options, int width = kWidth, int height = kHeight)
    {
        auto made = SaverHost::make(options, SaverHost::Reach::Free);
        if (!made)
            std::exit(1);
        host = *std::move(made);
        host->begin();
        connection = X11Connection::open(host->runLoop());
        x = X11Window::open(connection, "bench_player", width, height);
        window = std::make_shared<NSWindow>(makeRect(0, 0, width, height), x->makeSurface());
        view = host->addView(window, false);
    }
    ~Shown()
    {
        host->stop();
        host->runLoop().run();
    }
    CompositionView& composition() const { return static_cast<CompositionView&>(*view->viewQuartzComposition()); }
    void turnFor(double seconds) const
    {
        for (const double end = now() + seconds; now() < end;) {
            host->runLoop().wait(Seconds(end - now()));
            host->runLoop().turn();
        }
    }

    std::unique_ptr<SaverHost> host;
    std::shared_ptr<X11Connection> connection;
    std::unique_ptr<X11Window> x;
    std::shared_ptr<NSWindow> window;
    std::shared_ptr<VitrelView> view;
};

void playing(
    const std::string& name, const SaverOptions& options, double seconds, int width = kWidth, int height = kHeight)
{
    const Shown shown(options, width, height);
    shown.turnFor(3);
    const double start = now(), processor = processorTime();
    const auto frames = shown.composition().framesShown();
    shown.turnFor(seconds);
    const double span = now() - start, used = processorTime() - processor;
    const double made = double(shown.composition().framesShown() - frames);
    row(name, text("%.1f frames/s, %.2f %% CPU", made / span, used / span * 100));
    if (made > 10)
        row("  processor time of a frame, without the server's", text("%.2f ms", used / made * 1000));
    row("  resident memory", text("%.0f MiB", residentMiB()));
}

// A player on the bus, pumped between the turns.
class BusPlayer
{
public:
    BusPlayer()
        : connection_(sdbus::createSessionBusConnection())
        , object_(sdbus::createObject(*connection_, sdbus::ObjectPath("/org/mpris/MediaPlayer2")))
    {
        offerProperty(*object_, kPlayer, "Metadata", [this] { return metadata_; });
        offerProperty(*object_, kPlayer, "PlaybackStatus", [] { return std::string("Playing"); });
        offerProperty(*object_, kPlayer, "Position", [] { return std::int64_t(0); });
        finish(*object_);
        connection_->requestName(BusName("org.mpris.MediaPlayer2.bench"));
    }
    void pump()
    {
        while (processOne(*connection_)) { }
    }
    void play(const std::string& title, const std::string& cover)
    {
        metadata_ = {{"xesam:title", sdbus::Variant(title)},
            {"xesam:artist", sdbus::Variant(std::vector<std::string>{"Artist"})},
            {"mpris:trackid", sdbus::Variant(sdbus::ObjectPath("/" + title))},
            {"mpris:artUrl", sdbus::Variant("file://" + cover)}};
        auto signal = signalOf(*object_, "org.freedesktop.DBus.Properties", "PropertiesChanged");
        signal << kPlayer << Variants{{"Metadata", sdbus::Variant(metadata_)}} << std::vector<std::string>();
        object_->emitSignal(signal);
        pump();
    }

private:
    Variants metadata_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
};

class Bus
{
public:
    Bus()
    {
        const std::string address = "unix:path=" + (folder_ / "bus");
        std::string listen = "--address=" + address;
        char* words[] = {const_cast<char*>("dbus-daemon"), const_cast<char*>("--session"),
            const_cast<char*>("--nofork"), const_cast<char*>("--nopidfile"), listen.data(), nullptr};
        posix_spawnp(&process_, "dbus-daemon", nullptr, nullptr, words, environ);
        setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
        for (int tries = 0; tries < 200 && access((folder_ / "bus").c_str(), F_OK) != 0; ++tries)
            usleep(10000);
    }
    ~Bus()
    {
        ::kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }

private:
    TemporaryFolder folder_;
    pid_t process_ = 0;
};

std::vector<std::string> covers(const TemporaryFolder& folder, int count)
{
    std::vector<std::string> paths;
    for (int k = 0; k < count; ++k) {
        // Like a photograph in its size: noise, smoothed.
        VipsImage *noise = nullptr, *smooth = nullptr, *bytes = nullptr, *whole = nullptr;
        vips_gaussnoise(&noise, 1000, 1000, "mean", 128.0, "sigma", 60.0, nullptr);
        vips_gaussblur(noise, &smooth, 2.0 + k, nullptr);
        vips_cast_uchar(smooth, &bytes, nullptr);
        VipsImage* bands[] = {bytes, bytes, bytes};
        vips_bandjoin(bands, &whole, 3, nullptr);
        paths.push_back(folder / ("cover" + std::to_string(k) + ".jpg"));
        vips_jpegsave(whole, paths.back().c_str(), "Q", 85, nullptr);
        for (VipsImage* image : {noise, smooth, bytes, whole})
            g_object_unref(image);
    }
    return paths;
}

struct Change {
    double written = 0, shown = 0,
           cover = 0; // seconds after the player's signal; cover: with its artwork on the screen
};

// One change of track, up to the picture with its artwork.
std::optional<Change> change(const Shown& shown, BusPlayer& player, const std::string& title, const std::string& cover)
{
    bool named = false, covered = false;
    std::uint64_t frames = 0;
    const double start = now();
    Change result;
    shown.view->setInputObserver([&](const Value& value, const std::string& key) {
        const auto* name = value.as<std::string>();
        if (key == "Name" && name && *name == title && !std::exchange(named, true)) {
            result.written = now() - start;
            frames = shown.composition().framesShown();
        }
        if (key == "Artwork" && named && !value.isNothing() && !std::exchange(covered, true))
            frames = shown.composition().framesShown();
    });
    player.play(title, cover);
    while (now() - start < 5 && !(covered && result.cover > 0)) {
        shown.host->runLoop().wait(Seconds(0.05));
        shown.host->runLoop().turn();
        player.pump();
        if (!named || shown.composition().framesShown() == frames)
            continue;
        if (result.shown == 0)
            result.shown = now() - start;
        if (covered)
            result.cover = now() - start;
    }
    shown.view->setInputObserver({});
    return covered ? std::optional(result) : std::nullopt;
}

void changes(int count)
{
    const Bus bus;
    const TemporaryFolder folder;
    const auto pictures = covers(folder, 12);
    BusPlayer player;
    player.play("before", pictures[0]);
    SaverOptions options;
    options.fallback = true;
    const Shown shown(options);
    for (const double end = now() + 1.5; now() < end; player.pump())
        shown.turnFor(0.01);
    std::vector<double> written, first, whole;
    int lost = 0;
    for (int k = 1; k <= count; ++k) {
        const auto took
            = change(shown, player, "track" + std::to_string(k), pictures[std::size_t(k) % pictures.size()]);
        if (!took) {
            ++lost;
            continue;
        }
        written.push_back(took->written * 1000);
        first.push_back(took->shown * 1000);
        whole.push_back(took->cover * 1000);
        shown.turnFor(0.25);
    }
    const auto worst = [](const std::vector<double>& values) {
        return values.empty() ? 0 : *std::max_element(values.begin(), values.end());
    };
    row(text("%d changes of track, covers of 1000x1000", count), text("%d without a cover", lost));
    row("  signal to the first input written: median, worst", text("%.1f, %.1f ms", median(written), worst(written)));
    row("  signal to a frame with the title: median, worst", text("%.1f, %.1f ms", median(first), worst(first)));
    row("  signal to a frame with the cover: median, worst", text("%.1f, %.1f ms", median(whole), worst(whole)));
}

// Of the program itself, which this process only plays to.
void memory(int count)
{
    const Bus bus;
    const TemporaryFolder folder;
    const auto pictures = covers(folder, 12);
    BusPlayer player;
    player.play("before", pictures[0]);
    const auto pumpFor = [&player](double seconds) {
        for (const double end = now() + seconds; now() < end; usleep(2000))
            player.pump();
    };
    const pid_t process = fork();
    if (process == 0) {
        execl(bin().c_str(), "vitrel", "play", "--window", "1280x720", share("Muralis RSS Almanac").c_str(), nullptr);
        _exit(127);
    }
    const auto tell = [process](const std::string& when) {
        const auto [resident, share, own] = memoryOf(process);
        row("memory of the program " + when, text("%.0f MiB, %.0f, %.0f", resident, share, own));
    };
    pumpFor(3);
    tell("with one cover: resident, its share, its own");
    for (int k = 1; k <= count; ++k) {
        player.play("track" + std::to_string(k), pictures[std::size_t(k) % pictures.size()]);
        pumpFor(0.6);
        if (k == 10 || k == 100 || k == count)
            tell("after " + std::to_string(k) + " changes");
    }
    ::kill(process, SIGTERM);
    waitpid(process, nullptr, 0);
}

void still()
{
    const TemporaryFolder folder;
    const std::string source = folder.write(
        "still.json", R"({"patches": {"Clear": {"class": "QCClear", "inputs": {"inputColor": "#204060"}}}})");
    if (std::system((bin() + " make " + source + " " + (folder / "still.qtz")).c_str()) != 0)
        return;
    SaverOptions options;
    options.file = folder / "still.qtz";
    playing("a still composition, no player", options, 10);
}

} // namespace
} // namespace vitrel

int main(int argc, char** argv)
{
    using namespace vitrel;
    const std::vector<std::string> words(argv + 1, argv + argc);
    const auto wanted = [&words](const char* word) {
        return words.empty() || std::find(words.begin(), words.end(), word) != words.end();
    };
    qc::prepareSoftwareRendering();
    VIPS_INIT(argv[0]);
    TemporaryFolder config;
    setenv("XDG_CONFIG_HOME", config.path().c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (config / "none")).c_str(), 1);
    const XvfbServer server("1280x720x24");
    if (server.display().empty())
        return complain("no Xvfb here");
    setenv("DISPLAY", server.display().c_str(), 1);
    if (wanted("first")) {
        firstFrame(server.display(), "window, nothing to feed", {"play", "--window", "1280x720"});
        firstFrame(server.display(), "window, demonstration", {"play", "--window", "1280x720", "--demo"});
        firstFrame(server.display(), "full screen, nothing to feed", {"--no-fade"});
        firstFrame(server.display(), "full screen, demonstration", {"--demo", "--no-fade"});
        firstFrame(server.display(), "the same with the rise", {"--demo"});
    }
    if (wanted("frames")) {
        for (const char* name : {"Muralis RSS Almanac", "Muralis Cover Still"}) {
            SaverOptions options;
            options.demo = true;
            options.file = share(name);
            playing(std::string(name) + ", 1280x720, demo", options, 20);
        }
    }
    if (wanted("large")) {
        const XvfbServer large("5120x2880x24");
        setenv("DISPLAY", large.display().c_str(), 1);
        SaverOptions options;
        options.demo = true;
        options.file = share("Muralis RSS Almanac");
        playing("Muralis RSS Almanac, 3840x2160, demo", options, 15, 3840, 2160);
        playing("Muralis RSS Almanac, 5120x2880, demo", options, 15, 5120, 2880);
        setenv("DISPLAY", server.display().c_str(), 1);
    }
    if (wanted("still"))
        still();
    if (wanted("change"))
        changes(40);
    if (wanted("memory"))
        memory(300);
    return 0;
}
