#include "platform/confinement/Confinement.h"
#include "preferences/StartSettings.h"
#include "programs/child/SaverProgram.h"
#include "programs/idle/IdleExamination.h"
#include "programs/idle/IdleProgram.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <optional>

#include <sys/prctl.h>

namespace {

using vitrel::StartSettings;

int tellStatus()
{
    // Who looks for those that wait must not find those that look.
    prctl(PR_SET_NAME, "vitrel-status");
    const vitrel::SystemClock clock;
    vitrel::RunLoop loop(clock);
    std::cout << idleExaminationText(vitrel::examineIdleness(loop));
    return std::cout.flush() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Plays the screen saver whenever the desktop has been idle for a while; never locks", "vitrel idle");
    app.set_version_flag("--version", "vitrel-idle " VITREL_VERSION);
    vitrel::IdleOptions options;
    std::optional<double> minutes;
    bool status = false;
    app.add_option("--after", minutes, "Minutes without input, from 0.02 to 540; as in the settings if not given")
        ->check(CLI::Range(StartSettings::kLeastMinutes, StartSettings::kMostMinutes));
    app.add_flag("--not-on-battery", options.notOnBattery,
        "Leave the screen alone while the machine isn't plugged in, whatever the settings say");
    app.add_flag("--status", status, "Say who starts the saver on this desktop, or could, and end");
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
    if (status)
        return tellStatus();
    if (minutes)
        options.after = vitrel::Seconds(*minutes * 60);
    return vitrel::waitForIdleness(options, vitrel::saverProgram());
}
