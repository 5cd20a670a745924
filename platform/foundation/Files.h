#pragma once

#include "platform/foundation/FileSystem.h"

#include <string>
#include <string_view>

namespace vitrel {

// Whole files: how every folder of the house reads and writes them. Each takes the calls to the system as its last
// argument, for tests that make one of them fail. Errors are numbers of errno. Any thread.

// All of a regular file, at most `limit` bytes; EFBIG above, EINVAL for anything that is no regular file. Never waits
// for a pipe's writer or a device.
Result<Bytes, int> readFile(const std::string& path, std::size_t limit);
Result<Bytes, int> readFile(FileSystem& files, const std::string& path, std::size_t limit);

// The same for a file that something untrusted names, in `folder` or beneath it. EXDEV for a name that leads, or may
// lead, anywhere else: an absolute one, one with "..", one through a link.
Result<Bytes, int> readFileBeneath(const std::string& folder, const std::string& name, std::size_t limit);
Result<Bytes, int> readFileBeneath(
    FileSystem& files, const std::string& folder, const std::string& name, std::size_t limit);

// Whether bytes begin as a PNG, JPEG, GIF, WebP or TIFF file does (the formats' own documents): of the files that
// something untrusted names, pictures alone are its business.
bool isPicture(ByteView bytes);

struct FileReplacement {
    unsigned mode = 0666; // of a file that wasn't there, less the process's mask; one that was keeps owner and mode
    bool lasting = true; // survives the loss of power
};

// Writes beside the file and renames, so that nobody ever sees half of it, and what was there survives a failure. Gives
// the state of the new file. A link at `path` is replaced, not followed.
Result<struct ::stat, int> replaceFile(
    FileSystem& files, const std::string& path, ByteView bytes, FileReplacement how = {});

// What a user asked to have written there: replaces a file, also behind a link; but a device, a pipe or a descriptor
// ("/dev/stdout", "/dev/fd/3") is written into. 0, or the error.
int writeFile(const std::string& path, ByteView bytes, FileReplacement how = {});

// Where this user's files of one kind lie (XDG Base Directory Specification 0.8): $XDG_CONFIG_HOME/vitrel, else
// ~/.config/vitrel, and so on, and in it the folder `inside`, if one is named. Empty if the environment names neither a
// folder nor a home.
enum class UserFolder { Config, Cache, State };
std::string userFolder(UserFolder kind, std::string_view inside = {});

} // namespace vitrel
