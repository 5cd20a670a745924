#include "platform/quartzcomposer/checking/Diagnostic.h"

#include "base/Text.h"

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
    std::string shown = name.substr(0, kLongest);
    for (char& c : shown) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7F')
            c = ' ';
    }
    return "\"" + repairedUtf8(shown) + (name.size() > kLongest ? "..." : "") + "\"";
}

} // namespace vitrel::qc
