#pragma once

#include "platform/foundation/Value.h"

#include <optional>
#include <string>

namespace vitrel {

class NSJSONSerialization
{
public:
    // A dictionary or an array as compact JSON (RFC 8259) in UTF-8. Nothing is null. Absent for anything that JSON has
    // no form for: another value at the top, an image, a date, bytes, a number that isn't finite, a text that isn't
    // UTF-8, or containers more than 512 deep. Any thread.
    static std::optional<std::string> dataWithJSONObject(const Value& object);
};

} // namespace vitrel
