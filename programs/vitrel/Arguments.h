#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vitrel {

// The command line as it is parsed, without the program's name: "play" goes in front where no command stands, and of
// play the spellings are mended that other programs use for savers, single dashes first of all, and the size that may
// follow "--window". `commands` are the words that name a command.
std::vector<std::string> mendedArguments(std::vector<std::string> words, const std::vector<std::string>& commands);

// A window's number as programs write it, decimal or 0x with hexadecimal digits; 0 for anything else.
unsigned long parseWindowNumber(const std::string& text);

// "1280x720": both from 1 to 8192.
std::optional<std::pair<int, int>> parseSize(const std::string& text);

} // namespace vitrel
