#pragma once

#include "platform/quartzcomposer/file/CompositionFile.h"

#include <string>

namespace vitrel::qc {

// A composition from a regular file of at most 64 MiB: a property list of either kind, or the text form, whose pictures
// lie beside it. What reads compositions for a user reads them here, so that all commands take the same files. The file
// is opened once. Any thread.
CompositionResult readCompositionFile(const std::string& path);

// Whether a file's bytes are a text form, or are meant to be one.
bool isTextForm(std::string_view bytes);

// The same of a file's bytes that somebody else has read, from `path`.
CompositionResult compositionOfFile(ByteView bytes, const std::string& path);

// Why the file isn't to be taken into a list of compositions; empty if it is. One named "qtz" is taken as it is, in
// either case of the letters: it may be mended later. One named "json" must hold a text form, as other files are so
// named.
std::string whyNoComposition(const std::string& path);

// The folder in which files lie that are named relative to `path`.
std::string folderOf(const std::string& path);

} // namespace vitrel::qc
