#include "programs/vitrel/TextReport.h"

#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/file/CompositionReader.h"

#include <iostream>

namespace vitrel {

void printDiagnostics(const std::string& path, const std::vector<qc::Diagnostic>& diagnostics)
{
    for (const qc::Diagnostic& diagnostic : diagnostics)
        std::cerr << qc::lineOf(path, diagnostic) + "\n";
}

TextReport reportText(const std::string& path, bool prints)
{
    constexpr std::size_t kMaxText = 64u << 20;
    const auto bytes = readFile(path, kMaxText);
    if (!bytes || !qc::isTextForm(textOf(*bytes)))
        return {};
    const auto diagnostics = qc::checkText(textOf(*bytes), path, qc::allPatches());
    if (prints)
        printDiagnostics(path, diagnostics);
    constexpr std::size_t kShown = 4;
    TextReport report{qc::hasErrors(diagnostics), ""};
    std::size_t shown = 0;
    for (const auto severity : {qc::Diagnostic::Error, qc::Diagnostic::Warning}) {
        for (const qc::Diagnostic& diagnostic : diagnostics) {
            if (diagnostic.severity == severity && shown++ < kShown)
                report.lines
                    += (report.lines.empty() ? "" : "\n") + qc::lineOf(path.substr(path.rfind('/') + 1), diagnostic);
        }
    }
    if (shown > kShown)
        report.lines += "\n... and " + std::to_string(shown - kShown) + " more";
    return report;
}

} // namespace vitrel
