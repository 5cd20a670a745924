// What the saver costs a desktop, on a server without a screen of its own:
// bench_desktop [first] [six] [waiting]; all without a word. Prints a table.
#include "base/Clock.h"
#include "support/TemporaryFolder.h"
#include "x11/XvfbServer.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vitrel {
namespace {

const std::string kPrograms = BENCH_PROGRAMS;

double now()
{
    return SystemClock().now().count();
}

void pause(double seconds)
{
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

// A program of ours, ended with this.
class Run
{
public:
    Run(const std::string& program, std::vector<std::string> words, const std::string& display)
    {
        process_ = fork();
        if (process_ != 0)
            return;
        setenv("DISPLAY", display.c_str(), 1);
        for (const char* name : {"WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS"})
            unsetenv(name);
        words.insert(words.begin(), program);
        std::vector<char*> argv;
        for (auto& word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        execv((kPrograms + "/" + program).c_str(), argv.data());
        _exit(127);
    }
    ~Run()
    {
        ::kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }
    std::string status(const std::string& key) const
    {
        std::ifstream in("/proc/" + std::to_string(process_) + "/status");
        for (std::string line; std::getline(in, line);)
            if (line.starts_with(key + ":"))
                return line.substr(line.find_first_not_of(" \t", key.size() + 1));
        return "";
    }

private:
    pid_t process_ = 0;
};

// A server with monitors of 1280x720 in rows of three.
class Desktop
{
public:
    explicit Desktop(int monitors)
        : server_(
            std::to_string(1280 * std::min(monitors, 3)) + "x" + std::to_string(720 * ((monitors + 2) / 3)) + "x24")
        , display_(XOpenDisplay(server_.display().c_str()))
    {
        if (!display_)
            std::exit(1);
        for (int k = 0; k < monitors; ++k) {
            places_.push_back({k % 3 * 1280, k / 3 * 720});
            const std::string command = "DISPLAY=" + server_.display() + " xrandr --setmonitor M" + std::to_string(k)
                + " 1280/338x720/190+" + std::to_string(places_[k].first) + "+" + std::to_string(places_[k].second)
                + (k ? " none" : " screen") + " >/dev/null 2>&1";
            if (std::system(command.c_str()) != 0)
                std::fprintf(stderr, "no monitor %d\n", k);
        }
    }
    ~Desktop() { XCloseDisplay(display_); }

    std::string name() const { return server_.display(); }
    std::size_t monitors() const { return places_.size(); }
    unsigned long centreOf(std::size_t monitor)
    {
        const auto [x, y] = places_[monitor];
        XImage* image = XGetImage(display_, DefaultRootWindow(display_), x + 640, y + 360, 1, 1, AllPlanes, ZPixmap);
        const auto pixel = XGetPixel(image, 0, 0);
        XDestroyImage(image);
        return pixel & 0xFFFFFF;
    }

private:
    XvfbServer server_;
    Display* display_;
    std::vector<std::pair<int, int>> places_;
};

std::string make(const TemporaryFolder& folder, const std::string& name, const std::string& source)
{
    const std::string file = folder / (name + ".qtz");
    const std::string text = folder.write(name + ".json", source);
    if (std::system((kPrograms + "/vitrel make " + text + " " + file).c_str()) != 0)
        std::exit(1);
    return file;
}

void first(const TemporaryFolder& folder)
{
    const auto file = make(
        folder, "red", R"json({"patches": {"Clear": {"class": "QCClear", "inputs": {"inputColor": "#c03020"}}}})json");
    Desktop desktop(2);
    std::vector<double> times;
    for (int run = 0; run < 11; ++run) {
        const double start = now();
        const Run play("vitrel", {"play", "--no-fade", file}, desktop.name());
        while (desktop.centreOf(0) != 0xC03020 || desktop.centreOf(1) != 0xC03020)
            pause(0.001);
        if (run > 0) // the first warms the caches
            times.push_back((now() - start) * 1000);
    }
    std::sort(times.begin(), times.end());
    std::printf("first frame on two displays: %.0f ms (%.0f, %.0f)\n", times[5], times.front(), times.back());
}

void six(const TemporaryFolder& folder)
{
    // Its colour is another in each frame.
    const auto file = make(folder, "moving",
        R"json({"patches": {"Wave": {"class": "QCLFO", "inputs": {"inputPeriod": 3.1, "inputAmplitude": 0.5, "inputOffset": 0.5}},
          "Colour": {"class": "QCColorFromComponents"}, "Clear": {"class": "QCClear"}},
          "connections": ["Wave.outputValue > Colour.input1", "Colour.outputColor > Clear.inputColor"]})json");
    Desktop desktop(6);
    const Run play("vitrel", {"play", "--no-fade", file}, desktop.name());
    pause(6);
    std::vector<unsigned long> last(6);
    std::vector<int> changes(6);
    std::vector<double> seen(6, now()), longest(6);
    const double start = now();
    while (now() - start < 10) {
        for (std::size_t k = 0; k < 6; ++k) {
            const auto pixel = desktop.centreOf(k);
            if (pixel == last[k])
                continue;
            last[k] = pixel;
            ++changes[k];
            longest[k] = std::max(longest[k], now() - std::exchange(seen[k], now()));
        }
        pause(0.002);
    }
    std::printf("a moving colour on six displays, changes seen a second (longest pause in ms):");
    for (std::size_t k = 0; k < 6; ++k)
        std::printf(" %.1f (%.0f)", changes[k] / 10.0, longest[k] * 1000);
    std::printf("\n");
}

void waiting()
{
    Desktop desktop(1);
    const Run idle("vitrel-idle", {"--after", "60"}, desktop.name());
    pause(5);
    const auto switches = [&] { return std::atol(idle.status("voluntary_ctxt_switches").c_str()); };
    const long before = switches();
    pause(60);
    std::printf("vitrel idle, waiting: %s resident, %ld wake-ups in a minute\n", idle.status("VmRSS").c_str(),
        switches() - before);
}

} // namespace
} // namespace vitrel

int main(int argc, char** argv)
{
    using namespace vitrel;
    const TemporaryFolder folder;
    setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    const std::vector<std::string> words(argv + 1, argv + argc);
    const auto wanted
        = [&](const char* name) { return words.empty() || std::find(words.begin(), words.end(), name) != words.end(); };
    if (wanted("first"))
        first(folder);
    if (wanted("six"))
        six(folder);
    if (wanted("waiting"))
        waiting();
}
