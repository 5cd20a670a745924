// What authors are told of a text form: a text that makes no composition has an error, all stand in the text's order
// and within it, and none is more than a line.
#include "platform/quartzcomposer/checking/TextCheck.h"
#include "platform/quartzcomposer/file/TextForm.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace vitrel::qc;
    static const PatchRegistry registry = allPatches();
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto found = checkText(text, "/nowhere/text.json", registry);
    if (!compositionFromText(text, "/nowhere/") && !hasErrors(found))
        std::abort();
    const bool isInOrder = std::is_sorted(
        found.begin(), found.end(), [](const Diagnostic& a, const Diagnostic& b) { return a.offset < b.offset; });
    if (!isInOrder || found.size() > kMostDiagnostics)
        std::abort();
    for (const Diagnostic& diagnostic : found) {
        const std::string line = lineOf("f", diagnostic);
        if (diagnostic.offset > size || diagnostic.text.empty() || line.find('\n') != std::string::npos)
            std::abort();
    }
    return 0;
}
