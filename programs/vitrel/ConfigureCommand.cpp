// The settings window, which is a program of its own, so that playing never loads what draws it.
#include "programs/vitrel/Commands.h"

#include <unistd.h>

#include <filesystem>
#include <memory>

namespace vitrel {

namespace {

namespace fs = std::filesystem;

int configure(const std::vector<std::string>& files)
{
    std::error_code error;
    const fs::path here = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const fs::path& program :
        {here / "vitrel-configure", here.parent_path() / "libexec" / "vitrel" / "vitrel-configure"}) {
        if (!fs::exists(program, error))
            continue;
        std::vector<std::string> words{program.string()};
        words.insert(words.end(), files.begin(), files.end());
        std::vector<char*> argv;
        for (auto& word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
    }
    return complain("the settings window isn't installed");
}

} // namespace

void addConfigure(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("configure", "Open the settings window");
    const auto files = std::make_shared<std::vector<std::string>>();
    command->add_option("FILE", *files, "Compositions to add to the list");
    command->callback([&action, files] { action = [files] { return configure(*files); }; });
}

} // namespace vitrel
