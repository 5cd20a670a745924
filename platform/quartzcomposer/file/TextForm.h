#pragma once

#include "platform/quartzcomposer/file/CompositionFile.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vitrel::qc {

// The text form of compositions (docs/compositions.md): JSON for people who write, compare and keep compositions
// under version control. Whatever a file holds beyond it survives under "raw", so that a file made of its text form
// plays the same.

// Two blanks of indentation, keys in the order of the layers. Empty for a file whose objects, shared as they may be in
// a property list, make a text without end: above two million values or 256 MiB.
std::string textForm(const CompositionFile& file);

// The property list of a composition from its text form. Pictures that it names lie in `folder` or beneath it;
// one that can't be read is an error, as are other files, other places and everything that isn't the form. Numbers,
// texts, images at most 64 MiB together.
Result<Value, CompositionError> compositionFromText(std::string_view text, const std::string& folder);

// The text of a virtual patch that lies in a file of its own, in `folder` or beneath it: a JSON object with "patches",
// at most 1 MiB. The error says why not.
Result<std::string, CompositionError> definitionText(const std::string& folder, const std::string& name);

// The text with other values of the composition's published inputs, and nothing else changed: what its author wrote,
// its order and its comments stay. `values` are JSON texts by key. Absent if the text is none, or its "values" no
// object.
std::optional<std::string> textWithValues(std::string_view text, const std::map<std::string, std::string>& values);

} // namespace vitrel::qc
