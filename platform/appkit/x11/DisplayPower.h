#pragma once

#include <memory>

namespace vitrel {

class X11Connection;

// Whether a server's monitors are switched off to save power. Main thread.
class DisplayPower
{
public:
    virtual ~DisplayPower() = default;
    // Asks the server, each time.
    virtual bool isOff() = 0;
};

// By the extension DPMS. Null where the server hasn't got it, as one without a screen, or no monitor that it works on.
std::unique_ptr<DisplayPower> displayPowerOf(X11Connection& connection);

} // namespace vitrel
