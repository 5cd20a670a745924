#pragma once

#include "base/Bytes.h"
#include "platform/foundation/Value.h"

#include <optional>

namespace vitrel::plist {

// The two forms; `data` is within the input limit.
std::optional<Value> readBinary(ByteView data);
std::optional<Value> readXml(ByteView data);

// Nothing, a colour, an image or an object has no form in a property list.
bool isPropertyListValue(const Value& value);

} // namespace vitrel::plist
