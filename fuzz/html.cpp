// The text of an article, as HTML.
#include "platform/appkit/NSAttributedString.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view html(reinterpret_cast<const char*>(data), size);
    const auto read = vitrel::NSAttributedString::initWithHTML(html);
    if (!read)
        return 0;
    const auto& text = read->string();
    if (text.size() > 8 * size + 16 || (!text.empty() && (text.front() == '\n' || text.back() == '\n')))
        std::abort();
    return 0;
}
