#pragma once

#include "base/Result.h"
#include "platform/foundation/FileSystem.h"

#include <optional>
#include <string>

namespace vitrel {

// XScreenSaver's file of the user who runs this. Of the password file's home, not of HOME's: XScreenSaver looks nowhere
// else. Empty for a user without a home.
std::string saverListPath();

// What is in the file; nothing if there is none. An error says why it can't be read: it is no plain file, or larger
// than 1 MiB, which no list is.
Result<std::optional<std::string>, std::string> readSaverListFile(FileSystem& files, const std::string& path);

// Puts `text` into the file, whole or not at all: a link's target is replaced and the link stays, the mode stays, too.
// Nothing takes the file away, or leaves a link's target empty. Empty, or why it can't be done.
std::string replaceSaverListFile(FileSystem& files, const std::string& path, const std::optional<std::string>& text);

} // namespace vitrel
