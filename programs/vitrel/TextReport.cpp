#include "programs/vitrel/TextReport.h"

#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/file/CompositionReader.h"

#include <algorithm>
#include <iostream>

namespace vitrel {

void print(const std::string& path, const std::vector<qc::Diagnostic>& diagnostics)
{
    for (const qc::Diagnostic& diagnostic : diagnostics)
        std::cerr << qc::lineOf(path, diagnostic) + "\n";
}

std::string reportText(const std::string& path)
{
    constexpr std::size_t kMaxText = 64u << 20;
    const auto bytes = readFile(path, kMaxText);
    if (!bytes || !qc::isTextForm(textOf(*bytes)))
        return {};
    const auto diagnostics = qc::checkText(textOf(*bytes), path, qc::allPatches());
    print(path, diagnostics);
    const auto first = std::find_if(diagnostics.begin(), diagnostics.end(),
        [](const qc::Diagnostic& diagnostic) { return diagnostic.severity == qc::Diagnostic::Error; });
    if (first != diagnostics.end())
        return qc::lineOf(path.substr(path.rfind('/') + 1), *first);
    return diagnostics.empty() ? "" : qc::lineOf(path.substr(path.rfind('/') + 1), diagnostics.front());
}

} // namespace vitrel
