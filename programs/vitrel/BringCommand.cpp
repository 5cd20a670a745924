// The process behind the settings window that looks into folders and archives. Not for users: the window starts it.
#include "base/Bytes.h"
#include "platform/foundation/Files.h"
#include "programs/bundles/Bringing.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Confining.h"

namespace vitrel {

namespace {

int bringIn(const std::vector<std::string>& paths, const std::string& output)
{
    const CommandFiles files{{}, {output}, paths};
    closeAllBut(files);
    const std::string unpacked = unpackedFolder();
    confineToSettings(files, {unpacked});
    return writeFile(output, bytesOf(textOf(bring(paths, unpacked))), {.mode = 0600, .lasting = false}) == 0 ? 0 : 1;
}

} // namespace

void addBring(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("bring", "Look for compositions, for the settings window")->group("");
    const auto paths = std::make_shared<std::vector<std::string>>();
    const auto output = std::make_shared<std::string>();
    command->add_option("PATH", *paths)->required();
    command->add_option("--output", *output)->required();
    command->callback([&action, paths, output] { action = [=] { return bringIn(*paths, *output); }; });
}

} // namespace vitrel
