#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// Each adds its subcommand; what it does runs when the command line was parsed, and gives the exit code: 0 done,
// 1 failed, 2 wrong use. Errors are one line on standard error.
using Action = std::function<int()>;
void addPlay(CLI::App& app, Action& action);
void addInspect(CLI::App& app, Action& action);
void addMake(CLI::App& app, Action& action);
void addEvaluate(CLI::App& app, Action& action);
void addPatches(CLI::App& app, Action& action);
void addSchema(CLI::App& app, Action& action);
void addProfile(CLI::App& app, Action& action);
void addConfigure(CLI::App& app, Action& action);
void addIdle(CLI::App& app, Action& action);
void addPreview(CLI::App& app, Action& action);
void addBring(CLI::App& app, Action& action);
void addFilm(CLI::App& app, Action& action);
void addSnapshot(CLI::App& app, Action& action);
void addCompositionsCommand(CLI::App& app, Action& action);
void addFeedURL(CLI::App& app, Action& action);
void addOptions(CLI::App& app, Action& action);
void addXScreenSaver(CLI::App& app, Action& action);
void addDoctor(CLI::App& app, Action& action);
void addCode(CLI::App& app, Action& action);
void addWallpaper(CLI::App& app, Action& action);

// "--verbose" of a command: the system's own lines, which tell a user nothing, go to standard error.
std::shared_ptr<bool> addVerbose(CLI::App& command);

// Becomes one of the programs that come along. Comes back only if it can't be.
int become(const std::string& name, const std::vector<std::string>& arguments);

// Prints "vitrel: MESSAGE" and gives `code`.
int complain(const std::string& message, int code = 1);

} // namespace vitrel
