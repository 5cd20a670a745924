#pragma once

#include "platform/quartzcomposer/reference/Reference.h"

namespace vitrel::qc {

// A JSON Schema (draft 7) of the text form of compositions, with which editors complete, explain and check what their
// author writes. What it refuses is no composition, or nothing that can have been meant; it doesn't refuse what is
// merely beyond a range, and not all that is wrong: it sees neither whether a patch is there that is named, nor which
// ports a setting makes. What came out of a file (a patch with "raw") may have classes, ports and settings that aren't
// known here.
nlohmann::ordered_json textFormSchema(const std::vector<ReferenceFamily>& families);

} // namespace vitrel::qc
