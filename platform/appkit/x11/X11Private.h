#pragma once

// For the sources of this folder: Xlib's names and macros stay in here.
#include "platform/appkit/x11/X11Connection.h"

#include <X11/Xlib.h>

namespace vitrel {

inline Display* displayOf(const X11Connection& connection)
{
    return static_cast<Display*>(connection.display());
}

// While it lives, nothing asked for has an error that counts: used around what may fail by design.
class X11ErrorTrap
{
public:
    explicit X11ErrorTrap(X11Connection& connection)
        : connection_(connection)
        , before_(connection.errors())
    { }
    // Waits for the server's answer to all that was asked. True if any of it failed.
    bool failed()
    {
        if (connection_.isAlive())
            XSync(displayOf(connection_), False);
        connection_.flush();
        return !connection_.isAlive() || connection_.errors() != before_;
    }

private:
    X11Connection& connection_;
    const unsigned before_;
};

} // namespace vitrel
