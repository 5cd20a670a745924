// A table of translated texts; written out again it reads as the same.
#include "platform/foundation/LocalizedStrings.h"

#include <cstdint>
#include <cstdlib>

namespace {

std::string quoted(const std::string& text)
{
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + '"';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto table = vitrel::localizedStringsInText({reinterpret_cast<const char*>(data), size});
    if (!table)
        return 0;
    std::string again;
    for (const auto& [key, text] : *table)
        again += quoted(key) + " = " + quoted(text) + ";\n";
    // Quoting makes it longer: a table at the limit may not be one any more.
    if (again.size() <= 1u << 19 && vitrel::localizedStringsInText(again) != table)
        std::abort();
    return 0;
}
