#pragma once

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

namespace vitrel {

// What play and snapshot have in common on the command line.
struct SaverOptions {
    std::string file; // empty: what the user has chosen
    bool demo = false;
    std::string player; // a player's name; empty: whichever plays
    std::string systemVersion;
    std::string trace; // a file for the trace; empty: none
    std::vector<std::string> inputs; // KEY=VALUE
    std::string sound; // what compositions hear: "on", "off" or a file; empty: as the user has chosen
    std::string replay; // a trace that all comes from; empty: none
    std::optional<int> view; // which of the trace's; absent: the first
    bool withoutData = false; // no player, no network; nothing is stored
    bool ownValues = false; // of the composition's inputs, whatever the user has set there
    bool logs = true; // the system's own lines go to standard error

    // For play.
    bool random = false; // choose anew among the user's compositions
    std::string chosen; // what was chosen so, for all displays
    bool fallback = false; // the default composition, whatever the user has chosen
    int firstView = 0; // the first view's number in the trace
    bool addToTrace = false; // others write it, too
};

// Adds them to a command.
void addSaverOptions(CLI::App& command, SaverOptions& options);
// Those that a replay needs; `replay` has no place beside `others`.
void addReplayOptions(
    CLI::App& command, std::string& replay, std::optional<int>& view, const std::vector<CLI::Option*>& others = {});
// An exit code, with a line on standard error, for options that make no sense.
std::optional<int> complainOfSaverOptions(const SaverOptions& options);
// The system version that the saver sees: the option's, else the environment's, else the usual one.
std::string systemVersionText(const SaverOptions& options);

} // namespace vitrel
