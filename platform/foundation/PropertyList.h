#pragma once

#include "base/Bytes.h"
#include "platform/foundation/Value.h"

#include <optional>
#include <string>

namespace vitrel {

// Property lists, the form of stored defaults, bundle information and compositions. Any thread.

// Reads the binary form (bplist00) or the XML one. Integers are int64 (saturated), reals double, sets arrays, the
// null object is nothing, a UID is its number. An object that a binary file refers to many times is one object here
// too, and counts as often as it is met. Absent for anything that isn't a whole property list, and for one that is
// nested deeper than 512, refers to more than a million objects or needs more than 96 MiB; so much at most is walked,
// copied or written, then, but for data, which is the same bytes wherever it is met.
std::optional<Value> propertyListWithData(ByteView data);

// The same value always gives the same bytes. What has no form in a property list (nothing, colours, images,
// objects) is left out of its container. Empty if the value is nested deeper than what reads back.
Bytes binaryPropertyList(const Value& value);
// Also empty if the text would pass 64 MiB. Text that isn't UTF-8, or holds what XML can't, comes with U+FFFD in its
// place.
std::string xmlPropertyList(const Value& value);

} // namespace vitrel
