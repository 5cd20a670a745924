#include "preferences/PreferencesWC.h"

#include "platform/foundation/Surroundings.h"

namespace vitrel {

bool PreferencesWC::isCatalinaHTTPAPIFixEnabled(const Surroundings& surroundings)
{
    return surroundings.systemVersion >= OperatingSystemVersion{10, 14, 0};
}

std::shared_ptr<PreferencesWC> PreferencesWC::initWithWindowNibName(const Surroundings&, const std::string&)
{
    std::shared_ptr<PreferencesWC> controller(new PreferencesWC);
    controller->window_ = std::make_shared<NSWindow>(NSRect{});
    return controller;
}

} // namespace vitrel
