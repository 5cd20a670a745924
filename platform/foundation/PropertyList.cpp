#include "platform/foundation/PropertyList.h"

#include "base/Text.h"
#include "platform/foundation/PropertyListLimits.h"
#include "platform/foundation/PropertyListParts.h"

namespace vitrel {

bool plist::isPropertyListValue(const Value& value)
{
    return !value.isNothing() && !value.as<NSColor>() && !value.as<std::shared_ptr<const NSImage>>()
        && !value.as<std::shared_ptr<NSObject>>();
}

std::optional<Value> propertyListWithData(ByteView data)
{
    if (data.size() > plist::kMaximumInput)
        return std::nullopt;
    if (textOf(data).starts_with("bplist0"))
        return plist::readBinary(data);
    // Blanks ahead of the XML declaration are no XML, but editors leave them.
    while (!data.empty() && isBlank(static_cast<char>(data.front())))
        data = data.subspan(1);
    return plist::readXml(data);
}

} // namespace vitrel
