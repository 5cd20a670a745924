// The text form of a composition: what it makes is a property list that reads back, and whose text makes the same.
#include "platform/quartzcomposer/file/TextForm.h"
#include "platform/foundation/PropertyList.h"

#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace vitrel;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    // A folder that isn't there: a picture is read by nobody.
    const auto made = qc::compositionFromText(text, "/nowhere");
    if (!made)
        return 0;
    const Bytes written = binaryPropertyList(*made);
    const auto file = qc::readComposition(written);
    if (!file)
        return 0; // too deep, or too large, for the reader
    const std::string form = qc::textForm(*file);
    const auto again = qc::compositionFromText(form, "/nowhere");
    if (!again || !qc::compositionOfPropertyList(*again)
        || qc::textForm(*qc::compositionOfPropertyList(*again)) != form)
        std::abort();
    return 0;
}
