#include "platform/quartzcomposer/checking/Diagnostic.h"

#include "platform/quartzcomposer/file/TextValues.h"

#include <algorithm>

namespace vitrel::qc {

std::string lineOf(const std::string& file, const Diagnostic& diagnostic)
{
    return file + ":" + std::to_string(diagnostic.place.line) + ":" + std::to_string(diagnostic.place.column)
        + (diagnostic.severity == Diagnostic::Error ? ": error: " : ": warning: ") + diagnostic.text;
}

bool hasErrors(const std::vector<Diagnostic>& diagnostics)
{
    return std::any_of(diagnostics.begin(), diagnostics.end(),
        [](const Diagnostic& diagnostic) { return diagnostic.severity == Diagnostic::Error; });
}

std::string quoted(const std::string& name)
{
    constexpr std::size_t kLongest = 80;
    return "\"" + shownText(name, kLongest) + "\"";
}

} // namespace vitrel::qc
