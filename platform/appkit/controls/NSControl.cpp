#include "platform/appkit/controls/NSControl.h"

#include "platform/foundation/Value.h"

namespace vitrel {

void NSControl::setEnabled(bool enabled)
{
    enabled_ = enabled;
    didChange();
}

void NSControl::sendAction()
{
    const auto target = target_.lock();
    if (target && action_.call)
        action_.call(*target, Value());
}

} // namespace vitrel
