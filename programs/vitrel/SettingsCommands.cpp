// Commands that read and write the user's settings and show nothing: feed-url.
#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/FileSystem.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "preferences/VitrelItem.h"
#include "programs/vitrel/Commands.h"

#include <iostream>
#include <optional>

namespace vitrel {

namespace {

// What settings need of a saver.
struct SettingsSurroundings {
    SystemClock clock;
    RunLoop runLoop{clock};
    FileSystem files;
    LogSink log = standardErrorLog(clock);
    DefaultsStore defaults{DefaultsStore::userFolder(), files, log};
    NSBundle bundle = NSBundle::forExecutable();
    Surroundings surroundings;

    SettingsSurroundings()
    {
        surroundings.clock = &clock;
        surroundings.runLoop = &runLoop;
        surroundings.defaults = &defaults;
        surroundings.classBundle = surroundings.mainBundle = &bundle;
        surroundings.log = log;
    }
};

// A composition's settings go by its name, so that it need not be there.
int feedURL(const std::string& file, const std::optional<std::string>& address)
{
    const auto name = file.substr(file.rfind('/') + 1);
    if (name.empty())
        return complain(file + " is no file's name", 2);
    SettingsSurroundings host;
    VitrelItem item(host.surroundings, name);
    if (!address) {
        std::cout << item.rssFeedURL().value_or("") << '\n';
        return std::cout.flush() ? 0 : 1;
    }
    item.setRssFeedURL(*address);
    item.saveData();
    return item.rssFeedURL().value_or("") == *address ? 0 : complain("can't store the settings");
}

} // namespace

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
