// Commands that are programs of their own: what draws the settings window isn't loaded for playing, and what waits all
// day is small.
#include "programs/child/SaverProgram.h"
#include "programs/vitrel/Commands.h"

#include <unistd.h>

#include <memory>

namespace vitrel {

int become(const std::string& name, const std::vector<std::string>& arguments)
{
    const std::string program = auxiliaryProgram(name);
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    if (!program.empty())
        execv(argv[0], argv.data());
    return complain(name + " isn't installed");
}

void addConfigure(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("configure", "Open the settings window");
    const auto files = std::make_shared<std::vector<std::string>>();
    command->add_option("FILE", *files, "Compositions to add to the list");
    command->callback([&action, files] { action = [files] { return become("vitrel-configure", *files); }; });
}

// For the list of commands alone; `main` lets the program read its own options.
void addIdle(CLI::App& app, Action&)
{
    app.add_subcommand("idle", "Wait, and play whenever the desktop has been idle: --after MINUTES, and others");
}

} // namespace vitrel
