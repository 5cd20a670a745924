#include "programs/vitrel/Arguments.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Confining.h"
#include "programs/vitrel/Play.h"

#include <cstdlib>

namespace vitrel {

namespace {

// The window is the toolkit's, which is no part of this program.
int playBesidePanel(const PlayOptions& options)
{
    if (const auto code = complainOfSaverOptions(options))
        return *code;
    if (!options.trace.empty())
        return complain("--panel writes no trace", 2);
    std::vector<std::string> words{"--panel"};
    const auto add = [&](const char* option, const std::string& value) {
        if (!value.empty())
            words.insert(words.end(), {option, value});
    };
    add("--file", options.file);
    add("--player", options.player);
    add("--system-version", options.systemVersion);
    add("--sound", options.sound);
    for (const std::string& input : options.inputs)
        add("--input", input);
    for (const auto& [isSet, option] : {std::pair(options.demo, "--demo"), {options.watch, "--watch"}}) {
        if (isSet)
            words.emplace_back(option);
    }
    return become("vitrel-configure", words);
}

int play(PlayOptions options)
{
    const bool asGuest = options.root || !options.windowNumber.empty();
    if (!options.window.empty() && !parseSize(options.window))
        return complain("--window takes WIDTHxHEIGHT, each from 1 to 8192", 2);
    if (!options.windowNumber.empty() && !parseWindowNumber(options.windowNumber))
        return complain("--window-id takes a window's number", 2);
    if (!options.window.empty() && asGuest)
        return complain("--window is for a window of its own", 2);
    if (options.watch && options.file.empty())
        return complain("--watch needs a FILE", 2);
    if (options.panel && (asGuest || options.window.empty()))
        return complain("--panel goes with --window", 2);
    if (options.panel)
        return playBesidePanel(options);
    closeAllBut({{}, {options.trace}});
    if (!options.display.empty())
        setenv("DISPLAY", options.display.c_str(), 1);
    // Who names a window or a display means the X server.
    if (!asGuest && options.display.empty())
        options.wayland = isOnWayland();
    if (asGuest || !options.window.empty())
        return options.wayland ? playInWaylandWindow(options) : playInWindow(options);
    return playFullScreen(options);
}

} // namespace

int complainOfDisplay()
{
    const char* display = std::getenv("DISPLAY");
    if (display && *display)
        return complain(std::string("can't open the display ") + display);
    return complain("there is no display here; neither WAYLAND_DISPLAY nor DISPLAY leads to one");
}

void addPlay(CLI::App& app, Action& action)
{
    auto* command
        = app.add_subcommand("play", "Play on every display, or in one window; what vitrel does without a command");
    const auto options = std::make_shared<PlayOptions>();
    addSaverOptions(*command, *options);
    command->add_option("--window", options->window, "In an ordinary window; WIDTHxHEIGHT may follow");
    command->add_option("--window-id", options->windowNumber, "In the window with this number");
    command->add_flag("--root", options->root, "In the window in XSCREENSAVER_WINDOW, else the root window");
    command->add_flag("--random", options->random, "Choose one of the user's compositions");
    command->add_flag("--panel", options->panel, "With --window: beside the picture the published inputs as controls");
    command->add_flag("--watch", options->watch, "Load FILE anew whenever it changes");
    auto* atOnce = command->add_flag("--no-fade", options->noFade, "Come up at once on a full screen");
    command
        ->add_option(
            "--fade", options->fade, "Seconds for which a full screen comes up, to 10; as in the settings if not given")
        ->check(CLI::Range(0.0, 10.0))
        ->excludes(atOnce);
    command->add_option("--monitors", options->monitors,
        "Which displays are covered: all, primary, or names with commas between; as in the settings if not given");
    command->add_option("--display", options->display, "The X server");
    // What screen saver daemons may say and doesn't matter here.
    const auto hidden = [](CLI::Option* option) { option->group(""); };
    const auto nothing = std::make_shared<std::string>();
    for (const char* flag : {"--fps", "--mono", "--install", "--noinstall"})
        hidden(command->add_flag(flag));
    hidden(command->add_option("--visual", *nothing));
    command->callback([&action, options, nothing] { action = [=] { return play(*options); }; });
}

} // namespace vitrel
