#include "platform/confinement/Confinement.h"
#include "programs/child/SaverProgram.h"
#include "programs/idle/IdleProgram.h"

#include <CLI/CLI.hpp>

#include <iostream>

int main(int argc, char** argv)
{
    CLI::App app("Plays the screen saver whenever the desktop has been idle for a while; never locks", "vitrel idle");
    app.set_version_flag("--version", "vitrel-idle " VITREL_VERSION);
    vitrel::IdleOptions options;
    double minutes = 5;
    app.add_option("--after", minutes, "Minutes without input, from 0.02 to 540")
        ->check(CLI::Range(0.02, 540.0))
        ->capture_default_str();
    app.add_flag("--not-on-battery", options.notOnBattery, "Leave the screen alone while the machine isn't plugged in");
    app.add_option("PLAY", options.play, "After --: what else to tell vitrel play");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0)
            return app.exit(error);
        std::cerr << "vitrel: " << error.what() << '\n';
        return 2;
    }
    // What it starts has this given up, too, and gives up more by itself.
    vitrel::confine(vitrel::ConfinementKind::Service, {});
    options.after = vitrel::Seconds(minutes * 60);
    return vitrel::waitForIdleness(options, vitrel::saverProgram());
}
