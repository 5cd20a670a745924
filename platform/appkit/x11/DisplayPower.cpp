#include "platform/appkit/x11/DisplayPower.h"

#include "platform/appkit/x11/X11Connection.h"

#include <X11/Xlib.h>
#include <X11/extensions/dpms.h>

namespace vitrel {
namespace {

class Dpms final : public DisplayPower
{
public:
    explicit Dpms(X11Connection& connection)
        : connection_(connection)
    { }
    bool isOff() override
    {
        CARD16 level = DPMSModeOn;
        BOOL enabled = False;
        const bool known = DPMSInfo(static_cast<Display*>(connection_.display()), &level, &enabled);
        connection_.flush();
        return known && enabled && level != DPMSModeOn;
    }

private:
    X11Connection& connection_;
};

} // namespace

std::unique_ptr<DisplayPower> displayPowerOf(X11Connection& connection)
{
    auto* const display = static_cast<Display*>(connection.display());
    int event = 0, error = 0;
    if (!DPMSQueryExtension(display, &event, &error) || !DPMSCapable(display))
        return nullptr;
    return std::make_unique<Dpms>(connection);
}

} // namespace vitrel
