#include "platform/foundation/OutOfMemory.h"
#include "programs/vitrel/Arguments.h"
#include "programs/vitrel/Commands.h"

#include <algorithm>
#include <iostream>

namespace vitrel {

int complain(const std::string& message, int code)
{
    std::cerr << "vitrel: " << message << '\n';
    return code;
}

std::shared_ptr<bool> addVerbose(CLI::App& command)
{
    auto verbose = std::make_shared<bool>(false);
    command.add_flag("--verbose", *verbose, "Print the system's own lines, too, on standard error");
    return verbose;
}

} // namespace vitrel

int main(int argc, char** argv)
{
    using namespace vitrel;
    endWhereMemoryEnds("vitrel");
    CLI::App app("Vitrel plays compositions as a screen saver, with the music and the news", "vitrel");
    app.set_version_flag("--version", "vitrel " VITREL_VERSION);
    app.require_subcommand(1);
    Action action;
    addPlay(app, action);
    addInspect(app, action);
    addMake(app, action);
    addEvaluate(app, action);
    addPatches(app, action);
    addSchema(app, action);
    addProfile(app, action);
    addSnapshot(app, action);
    addFilm(app, action);
    addConfigure(app, action);
    addIdle(app, action);
    addPreview(app, action);
    addBring(app, action);
    addCompositionsCommand(app, action);
    addFeedURL(app, action);
    addOptions(app, action);
    addXScreenSaver(app, action);
    addDoctor(app, action);
    addCode(app, action);
    addWallpaper(app, action);
    std::vector<std::string> commands;
    for (const auto* command : app.get_subcommands({}))
        commands.push_back(command->get_name());
    auto words = mendedArguments({argv + std::min(argc, 1), argv + argc}, commands);
    // Its program knows its own options, and takes what stands behind a "--".
    if (words.front() == "idle")
        return become("vitrel-idle", {words.begin() + 1, words.end()});
    std::reverse(words.begin(), words.end()); // as it is taken
    try {
        app.parse(std::move(words));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0)
            return app.exit(error);
        return complain(error.what(), 2);
    }
    return action ? action() : 0;
}
