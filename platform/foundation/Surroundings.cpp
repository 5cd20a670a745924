#include "platform/foundation/Surroundings.h"

#include <cstdlib>

namespace vitrel {

std::uint32_t arc4random(const SettingsSurroundings& surroundings)
{
    return surroundings.arc4random ? surroundings.arc4random() : ::arc4random();
}

} // namespace vitrel
