// Whatever reads must write, and what was written must read and give the same bytes again.
#include "platform/foundation/PropertyList.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace vitrel;
    const auto value = propertyListWithData({data, size});
    if (!value)
        return 0;
    const Bytes written = binaryPropertyList(*value);
    const auto again = propertyListWithData(written);
    if (!again || binaryPropertyList(*again) != written)
        std::abort();
    const std::string text = xmlPropertyList(*value);
    // A value that shares much is larger spelled out, and may then pass the reader's limits.
    if (!text.empty() && text.size() < 100000 && !propertyListWithData(bytesOf(text)))
        std::abort();
    return 0;
}
