#pragma once

#include "platform/quartzcomposer/file/CompositionFile.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <string>
#include <vector>

namespace vitrel::qc {

// What a file says of itself to people, each in one line and short, and what would keep it from playing in full. Texts
// are a stranger's.
struct CompositionAbout {
    std::string title, author, description; // empty: it says nothing
    std::vector<std::string> missing; // classes of patches that aren't there, as inspect names them
};

CompositionAbout aboutComposition(const CompositionFile& file, const PatchRegistry& registry);

} // namespace vitrel::qc
