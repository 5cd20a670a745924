#pragma once

#include "platform/foundation/Geometry.h"
#include "platform/foundation/Value.h"

#include <string>

namespace vitrel {

// A display as it was when it was looked at. `deviceDescription` has "NSScreenNumber", a number that is stable
// while the display is connected.
class NSScreen
{
public:
    NSRect frame;
    std::string localizedName;
    Dictionary deviceDescription;
};

} // namespace vitrel
