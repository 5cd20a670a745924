#include "programs/vitrel/SaverOptions.h"

#include "platform/foundation/OperatingSystemVersion.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/ValueJson.h"
#include "traces/Trace.h"

#include <cstdlib>

namespace vitrel {

std::string systemVersionText(const SaverOptions& options)
{
    // The direct route: a version below the gate, since on this desktop a player can be read without any set-up.
    constexpr const char* kUsualSystemVersion = "10.13.6";
    const char* fromEnvironment = std::getenv("VITREL_SYSTEM_VERSION");
    return !options.systemVersion.empty()          ? options.systemVersion
        : fromEnvironment && *fromEnvironment != 0 ? fromEnvironment
                                                   : kUsualSystemVersion;
}

void addSaverOptions(CLI::App& command, SaverOptions& options)
{
    command.add_option("FILE,--file", options.file, "The composition; without it the one chosen in the settings");
    auto* demo = command.add_flag("--demo", options.demo, "Play the default composition with a built-in player");
    auto* player = command.add_option("--player", options.player, "Follow the player of this name before all others");
    command.add_option("--system-version", options.systemVersion,
        "The system version that the saver sees; 10.14.0 and later use the companion");
    auto* trace = command.add_option(
        "--trace", options.trace, "Write each change of an input to this file, a line of JSON each");
    command.add_option("--input", options.inputs, "KEY=VALUE sets a published input at the start; may be given again")
        ->allow_extra_args(false);
    auto* sound = command.add_option("--sound", options.sound,
        "What compositions hear: on, what this computer plays; off; or a sound file. As in the settings if not given");
    addReplayOptions(command, options.replay, options.view, {demo, player, trace, sound});
}

void addReplayOptions(
    CLI::App& command, std::string& replay, std::optional<int>& view, const std::vector<CLI::Option*>& others)
{
    auto* option = command.add_option("--replay", replay, "Take inputs, pictures, sound and time from this trace");
    command.add_option("--view", view, "Of the trace's views the one with this number; the first if not given")
        ->needs(option);
    for (auto* other : others)
        option->excludes(other);
}

std::optional<int> complainOfSaverOptions(const SaverOptions& options)
{
    for (const std::string& text : options.inputs) {
        if (!inputArgument(text))
            return complain("--input takes KEY=VALUE", 2);
    }
    const std::string version = systemVersionText(options);
    if (!makeOperatingSystemVersion(version))
        return complain("\"" + version + "\" is no system version", 2);
    if (!options.replay.empty()) {
        if (const auto trace = readTrace(options.replay, options.view); !trace)
            return complain(trace.error());
    }
    if (options.file.empty())
        return std::nullopt;
    const auto read = qc::readCompositionFile(options.file);
    return read ? std::nullopt : std::optional(complain(options.file + " is no composition: " + read.error().reason));
}

} // namespace vitrel
