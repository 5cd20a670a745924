// Commands that read and write the user's settings and show nothing: compositions, feed-url. They act through the
// controller of the sheet, so that a window that is open and a command agree on every step.
#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/FileSystem.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/PreferencesWC.h"
#include "preferences/Settings.h"
#include "programs/vitrel/Commands.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>

namespace vitrel {

namespace {

namespace fs = std::filesystem;

// What settings need of a saver, and the sheet's controller without a window. Other processes' changes wait for the
// command's end.
struct SettingsHost {
    SystemClock clock;
    RunLoop runLoop{clock};
    FileSystem files;
    LogSink log = standardErrorLog(clock);
    DefaultsStore defaults{DefaultsStore::userFolder(), files, log};
    NSBundle bundle = NSBundle::forExecutable();
    Surroundings surroundings;

    SettingsHost()
    {
        surroundings.clock = &clock;
        surroundings.runLoop = &runLoop;
        surroundings.defaults = &defaults;
        surroundings.classBundle = surroundings.mainBundle = &bundle;
        surroundings.log = log;
        controller = PreferencesWC::initWithWindowNibName(surroundings, "PreferencesWC");
        change.emplace(defaults, Settings::shared(surroundings).screenSaverDefaults()->domain());
    }
    // Ends the change. The exit code.
    int store()
    {
        change.reset();
        const auto saver = Settings::shared(surroundings).screenSaverDefaults();
        const auto host = NSUserDefaults::standardUserDefaults(surroundings);
        const bool stored = saver->synchronize() && host->synchronize();
        return stored && !defaults.isVolatile() ? 0 : complain("can't store the settings");
    }

    std::shared_ptr<PreferencesWC> controller;
    std::optional<DefaultsStore::Batch> change;
};

// A path goes on one line, whatever is in a name.
std::string onOneLine(std::string path)
{
    for (auto at = path.find('\n'); at != std::string::npos; at = path.find('\n', at))
        path.replace(at, 1, "\\n");
    return path;
}

std::string fullPath(const std::string& file)
{
    std::error_code error;
    const auto path = fs::absolute(file, error).lexically_normal();
    return error ? file : path.string();
}

// The entry of the list that the user means.
std::optional<std::string> listed(const PreferencesWC& controller, const std::string& file)
{
    const auto paths = controller.filesPaths();
    for (const std::string& path : {file, fullPath(file)}) {
        if (std::find(paths.begin(), paths.end(), path) != paths.end())
            return path;
    }
    complain(file + " isn't among the compositions");
    return std::nullopt;
}

int listCompositions()
{
    SettingsHost host;
    const auto active = host.controller->filePathActive();
    for (const auto& path : host.controller->filesPaths())
        std::cout << (path == active ? "* " : "  ") << onOneLine(path) << '\n';
    return std::cout.flush() ? 0 : 1;
}

int addCompositions(const std::vector<std::string>& files)
{
    std::vector<NSURL> urls;
    for (const auto& file : files) {
        const auto path = fullPath(file);
        std::error_code error;
        if (!fs::is_regular_file(path, error))
            return complain("there is no file " + file);
        if (fs::path(path).extension() != ".qtz")
            return complain(file + " is no composition: its name doesn't end in .qtz");
        urls.push_back(NSURL::fileURLWithPath(path));
    }
    SettingsHost host;
    host.controller->openPanelDidOpenFiles(urls);
    return host.store();
}

int removeComposition(const std::string& file)
{
    SettingsHost host;
    const auto path = listed(*host.controller, file);
    if (!path)
        return 1;
    host.controller->setFilePathActive(*path);
    host.controller->removeFile();
    return host.store();
}

int useComposition(const std::string& file)
{
    SettingsHost host;
    const auto path = listed(*host.controller, file);
    if (!path)
        return 1;
    host.controller->setFilePathActive(*path);
    return host.store();
}

int chooseAtRandom(bool random)
{
    SettingsHost host;
    host.controller->setUseRandomScreenSaver(random);
    return host.store();
}

// A composition's settings go by its name, so that it need not be there.
int feedURL(const std::string& file, const std::optional<std::string>& address)
{
    const auto name = file.substr(file.rfind('/') + 1);
    if (name.empty())
        return complain(file + " is no file's name", 2);
    SettingsHost host;
    const VitrelItem item(host.surroundings, name);
    if (!address) {
        std::cout << item.rssFeedURL().value_or("") << '\n';
        return std::cout.flush() ? 0 : 1;
    }
    host.controller->storeFeedURL(item, *address);
    return host.store();
}

} // namespace

void addCompositionsCommand(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("compositions", "Show or change the list of compositions");
    command->require_subcommand(1);
    command->add_subcommand("list", "Print one path a line, the active one behind \"* \"")->callback([&action] {
        action = listCompositions;
    });
    const auto files = std::make_shared<std::vector<std::string>>();
    auto* add = command->add_subcommand("add", "Add files; the last becomes active");
    add->add_option("FILE", *files, "A composition")->required();
    add->callback([&action, files] { action = [files] { return addCompositions(*files); }; });
    const auto file = std::make_shared<std::string>();
    auto* remove = command->add_subcommand("remove", "Take a file off the list; the next one becomes active");
    remove->add_option("FILE", *file, "A composition of the list")->required();
    remove->callback([&action, file] { action = [file] { return removeComposition(*file); }; });
    auto* use = command->add_subcommand("use", "Make a file of the list the active one");
    use->add_option("FILE", *file, "A composition of the list")->required();
    use->callback([&action, file] { action = [file] { return useComposition(*file); }; });
    const auto choice = std::make_shared<std::string>();
    auto* random = command->add_subcommand("random", "Choose one at random at each start, or don't");
    random->add_option("on|off", *choice)->required()->check(CLI::IsMember({"on", "off"}));
    random->callback([&action, choice] { action = [choice] { return chooseAtRandom(*choice == "on"); }; });
}

void addFeedURL(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("feed-url", "Show or store the address of a composition's feed");
    const auto file = std::make_shared<std::string>();
    const auto address = std::make_shared<std::optional<std::string>>();
    command->add_option("FILE", *file, "A composition; its settings go by its name")->required();
    command->add_option("ADDRESS", *address, "The feed's address; \"\" for the default feed");
    command->callback([&action, file, address] { action = [=] { return feedURL(*file, *address); }; });
}

} // namespace vitrel
