// An XML document that a composition names: whatever becomes of it is a structure that a port may have.
#include "platform/quartzcomposer/loading/XMLStructure.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace vitrel::qc;
    const StructureRef made = structureOfXML({data, size});
    if (made && (!made->keyed || !made->fits()))
        std::abort();
    return 0;
}
