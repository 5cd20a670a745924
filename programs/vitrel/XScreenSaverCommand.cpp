// xscreensaver: Vitrel's line in the list of that daemon, for users who would rather not write it themselves.
#include "programs/saverlist/SaverList.h"
#include "programs/saverlist/SaverListFile.h"
#include "programs/vitrel/Commands.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iostream>
#include <optional>

namespace vitrel {

namespace {

namespace fs = std::filesystem;

// Where XScreenSaver looks first for what it starts.
constexpr const char* kHackFolder = "/usr/libexec/xscreensaver";

// By the name alone if that is this program, else by its path: empty if that holds what a command line can't.
std::string commandHere()
{
    std::error_code error;
    const fs::path here = fs::read_symlink("/proc/self/exe", error);
    for (const fs::path& known : {fs::path(kHackFolder) / "vitrel", fs::path("/usr/bin/vitrel")}) {
        if (fs::equivalent(known, here, error))
            return "vitrel --root";
    }
    const std::string path = here.string();
    const auto plain = [](unsigned char c) { return std::isalnum(c) || std::string_view("/._+-").find(c) < 5; };
    return std::all_of(path.begin(), path.end(), plain) ? path + " --root" : "";
}

struct List {
    FileSystem files;
    std::string path;
    bool there = false;
    std::optional<SaverList> list;

    // False, with a line on standard error.
    bool read(const std::string& given)
    {
        path = given.empty() ? saverListPath() : given;
        if (path.empty())
            return fail("there is no home for a list");
        auto text = readSaverListFile(files, path);
        if (!text)
            return fail("can't read " + path + ": " + text.error());
        there = text->has_value();
        auto understood = SaverList::read(text->value_or(""));
        if (!understood)
            return fail("can't understand " + path + ", and leaves it alone: " + understood.error());
        list = *std::move(understood);
        return true;
    }
    static bool fail(const std::string& message)
    {
        complain(message);
        return false;
    }
    int write(const std::optional<std::string>& text)
    {
        const std::string error = replaceSaverListFile(files, path, text);
        return error.empty() ? 0 : complain("can't write " + path + ": " + error);
    }
};

int tellState(const std::string& file)
{
    List list;
    if (!list.read(file))
        return 1;
    switch (list.list->state()) {
    case SaverList::State::Listed:
        std::cout << "Vitrel is in the list of " << list.path << '\n';
        return 0;
    case SaverList::State::SwitchedOff:
        std::cout << "Vitrel is in the list of " << list.path << ", switched off\n";
        return 1;
    case SaverList::State::Absent:
        break;
    }
    std::cout << "Vitrel isn't in the list of " << list.path << '\n';
    return 1;
}

int addToList(const std::string& file)
{
    List list;
    if (!list.read(file))
        return 1;
    if (list.list->state() == SaverList::State::Listed)
        return 0;
    const std::string command = commandHere();
    if (command.empty())
        return complain("XScreenSaver can't start a program whose path holds blanks or the like");
    return list.write(list.list->with(command));
}

int removeFromList(const std::string& file)
{
    List list;
    if (!list.read(file))
        return 1;
    if (list.list->state() == SaverList::State::Absent)
        return 0;
    const std::string text = list.list->without();
    // A file that held nothing else is one that "add" made.
    return list.write(text.empty() ? std::nullopt : std::optional(text));
}

} // namespace

void addXScreenSaver(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("xscreensaver", "Put Vitrel into the list of XScreenSaver, or take it off");
    command->require_subcommand(1);
    const auto file = std::make_shared<std::string>();
    const auto add = [&](const char* name, const char* what, int (*run)(const std::string&)) {
        auto* choice = command->add_subcommand(name, what);
        choice->add_option("--file", *file, "Another file than ~/.xscreensaver");
        choice->callback([&action, file, run] { action = [file, run] { return run(*file); }; });
    };
    add("add", "Put Vitrel into the list; choose it there with xscreensaver-settings", addToList);
    add("remove", "Take Vitrel off the list", removeFromList);
    add("status", "Tell whether it is in the list, and fail if it isn't", tellState);
}

} // namespace vitrel
