#pragma once

#include "platform/appkit/NSWindow.h"
#include "platform/foundation/NSObject.h"

#include <memory>
#include <string>

namespace vitrel {

struct Surroundings;

// The controller of the configure sheet. Main thread.
class PreferencesWC : public NSObject
{
public:
    // Whether the track comes from the companion and the player is left alone: from version 10.14.0 of the system
    // on. Worked out afresh at each call. Any thread.
    static bool isCatalinaHTTPAPIFixEnabled(const Surroundings& surroundings);

    static std::shared_ptr<PreferencesWC> initWithWindowNibName(
        const Surroundings& surroundings, const std::string& name);

    // The sheet. Never null.
    const std::shared_ptr<NSWindow>& window() const { return window_; }

    // Brings the controls up to date with what is stored. The sheet has none so far.
    void updateView() { }

private:
    PreferencesWC() = default;

    std::shared_ptr<NSWindow> window_;
};

} // namespace vitrel
