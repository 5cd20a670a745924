#pragma once

#include "platform/quartzcomposer/checking/Diagnostic.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <string>
#include <string_view>
#include <vector>

namespace vitrel::qc {

// As many are told of one text; what lies behind them waits for the next time.
inline constexpr std::size_t kMostDiagnostics = 50;

// All that is wrong with a text form (docs/compositions.md), in the text's order: errors for what is no composition or
// can't have been meant, warnings for what does no harm. What came out of a file (a patch with "raw") may hold what
// isn't known here: there it is a warning, or nothing. Empty for a text that has nothing to mend. `path` is the text's
// own; pictures that it names are looked for beside it. Scripts are read but not run. Main thread.
std::vector<Diagnostic> checkText(std::string_view text, const std::string& path, const PatchRegistry& registry);

} // namespace vitrel::qc
