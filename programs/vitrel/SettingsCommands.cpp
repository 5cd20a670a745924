// Commands that read and write the user's settings and show nothing: compositions, feed-url. They act through the
// controller of the sheet, so that a window that is open and a command agree on every step.
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "preferences/BuiltInCompositions.h"
#include "preferences/VitrelItem.h"
#include "programs/bundles/Bringing.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Confining.h"
#include "programs/vitrel/SettingsHost.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>

namespace vitrel {

namespace {

namespace fs = std::filesystem;

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

int listCompositions(bool verbose)
{
    SettingsHost host(verbose);
    const auto active = host.controller().filePathActive();
    for (const auto& path : host.controller().filesPaths())
        std::cout << (path == active ? "* " : "  ") << onOneLine(path) << '\n';
    return std::cout.flush() ? 0 : 1;
}

// Folders and archives are looked into, which are strangers'.
int addBrought(const std::vector<std::string>& files, bool verbose)
{
    closeAllBut({});
    const std::string unpacked = unpackedFolder();
    confineToSettings({{}, {}, files}, {unpacked});
    const Brought brought = bring(files, unpacked);
    for (const auto& [path, reason] : brought.problems)
        complain(path + ": " + reason);
    SettingsHost host(verbose);
    const auto known = host.controller().filesPaths();
    std::vector<NSURL> added;
    for (const auto& path : brought.compositions) {
        if (std::find(known.begin(), known.end(), path) == known.end())
            added.push_back(NSURL::fileURLWithPath(path));
    }
    host.controller().openPanelDidOpenFiles(added);
    if (!brought.compositions.empty())
        host.controller().setFilePathActive(brought.compositions.back());
    const int code = host.store();
    return brought.problems.empty() ? code : 1;
}

int addCompositions(const std::vector<std::string>& files, bool verbose)
{
    if (std::any_of(files.begin(), files.end(), takesTimeToBring))
        return addBrought(files, verbose);
    std::vector<NSURL> urls;
    for (const auto& file : files) {
        const auto path = fullPath(file);
        std::error_code error;
        if (!fs::is_regular_file(path, error))
            return complain("there is no file " + file);
        if (const std::string why = qc::whyNoComposition(path); !why.empty())
            return complain(file + " is no composition: " + why);
        urls.push_back(NSURL::fileURLWithPath(path));
    }
    SettingsHost host(verbose);
    host.controller().openPanelDidOpenFiles(urls);
    return host.store();
}

int removeComposition(const std::string& file, bool verbose)
{
    SettingsHost host(verbose);
    const auto path = listed(host.controller(), file);
    if (!path)
        return 1;
    host.controller().setFilePathActive(*path);
    host.controller().removeFile();
    return host.store();
}

// Those that come along, by name: they are in nobody's list.
int listBuiltIn(bool verbose)
{
    SettingsHost host(verbose);
    const BuiltInCompositions builtIn(host.surroundings());
    const std::string active = compositionInForce(host.surroundings(), builtIn);
    for (const auto& one : builtIn.all())
        std::cout << (one.path == active ? "* " : "  ") << onOneLine(one.name) << '\n';
    return std::cout.flush() ? 0 : 1;
}

int useComposition(const std::string& file, bool verbose)
{
    SettingsHost host(verbose);
    const auto paths = host.controller().filesPaths();
    const auto isListed
        = [&](const std::string& path) { return std::find(paths.begin(), paths.end(), path) != paths.end(); };
    std::error_code error;
    // A file of one's own goes before a name.
    const BuiltInCompositions builtIn(host.surroundings());
    const auto* named = builtIn.at(fullPath(file));
    if (!named && !isListed(file) && !isListed(fullPath(file)) && !fs::exists(file, error))
        named = builtIn.find(file);
    const auto path = named ? std::optional(named->path) : listed(host.controller(), file);
    if (!path)
        return 1;
    host.controller().setFilePathActive(*path);
    return host.store();
}

int chooseAtRandom(bool random, bool verbose)
{
    SettingsHost host(verbose);
    host.controller().setUseRandomScreenSaver(random);
    return host.store();
}

// A composition's settings go by its name, so that it need not be there. One that comes along has one for people, too.
int feedURL(const std::string& file, const std::optional<std::string>& address, bool verbose)
{
    auto name = file.substr(file.rfind('/') + 1);
    if (name.empty())
        return complain(file + " is no file's name", 2);
    SettingsHost host(verbose);
    const BuiltInCompositions builtIn(host.surroundings());
    if (const auto* known = name == file ? builtIn.find(name) : nullptr)
        name = known->path.substr(known->path.rfind('/') + 1);
    const VitrelItem item(host.surroundings(), name);
    if (!address) {
        std::cout << item.rssFeedURL().value_or("") << '\n';
        return std::cout.flush() ? 0 : 1;
    }
    host.controller().storeFeedURL(item, *address);
    return host.store();
}

} // namespace

void addCompositionsCommand(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("compositions", "Show or change the list of compositions");
    command->require_subcommand(1);
    const auto verbose = addVerbose(*command);
    const auto sub
        = [command](const char* name, const char* what) { return command->add_subcommand(name, what)->fallthrough(); };
    sub("list", "Print one path a line, the active one behind \"* \"")->callback([&action, verbose] {
        action = [verbose] { return listCompositions(*verbose); };
    });
    const auto files = std::make_shared<std::vector<std::string>>();
    auto* add = sub("add", "Add files, and all of folders and ZIP archives; the last becomes active");
    add->add_option("FILE", *files, "A composition, a folder or a ZIP archive")->required();
    add->callback([&action, files, verbose] { action = [=] { return addCompositions(*files, *verbose); }; });
    const auto file = std::make_shared<std::string>();
    auto* remove = sub("remove", "Take a file off the list; the next one becomes active");
    remove->add_option("FILE", *file, "A composition of the list")->required();
    remove->callback([&action, file, verbose] { action = [=] { return removeComposition(*file, *verbose); }; });
    sub("built-in", "Print the names of those that come along, the active one behind \"* \"")
        ->callback([&action, verbose] { action = [verbose] { return listBuiltIn(*verbose); }; });
    auto* use = sub("use", "Make a file of the list the active one, or one that comes along");
    use->add_option("FILE", *file, "A composition of the list, or the name of one that comes along")->required();
    use->callback([&action, file, verbose] { action = [=] { return useComposition(*file, *verbose); }; });
    const auto choice = std::make_shared<std::string>();
    auto* random = sub("random", "Choose one at random at each start, or don't");
    random->add_option("on|off", *choice)->required()->check(CLI::IsMember({"on", "off"}));
    random->callback(
        [&action, choice, verbose] { action = [=] { return chooseAtRandom(*choice == "on", *verbose); }; });
}

void addFeedURL(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("feed-url", "Show or store the address of a composition's feed");
    const auto file = std::make_shared<std::string>();
    const auto address = std::make_shared<std::optional<std::string>>();
    command->add_option("FILE", *file, "A composition; its settings go by its name")->required();
    command->add_option("ADDRESS", *address, "The feed's address; \"\" for the default feed");
    const auto verbose = addVerbose(*command);
    command->callback(
        [&action, file, address, verbose] { action = [=] { return feedURL(*file, *address, *verbose); }; });
}

} // namespace vitrel
