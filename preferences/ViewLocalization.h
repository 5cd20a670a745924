#pragma once

#include "platform/appkit/NSView.h"
#include "platform/appkit/controls/NSMenu.h"
#include "platform/appkit/controls/NSTableView.h"

#include <optional>
#include <string>
#include <utility>

namespace vitrel {

struct SettingsSurroundings;

// Replaces the texts of the controls in a view by the user's language. The key of a text stands in the control's
// identifier: one that contains ".lsk", ends in ".lskf" (the control then takes the size that its text needs) or has
// exactly two "-". The mark goes out of the stored identifier, but stays in the key. Without a key the control's own
// text is the key. Tool tips have the control's key and ".tooltip". A key without a translation shows as itself.
// `view` itself is left alone. Main thread.
void localizeView(NSView& view, const SettingsSurroundings& surroundings, bool printLogs = false);
// Prints, too, how long it took.
void localizeViewAndLog(NSView& view, const SettingsSurroundings& surroundings);

void localizeText(NSView& view, const SettingsSurroundings& surroundings, bool printLogs);
void localizeUIItem(NSView& view, const SettingsSurroundings& surroundings, bool printLogs);
void localizeToolTip(NSView& view, const std::optional<std::string>& idLocalized,
    const SettingsSurroundings& surroundings, bool printLogs);

// The key, absent without one, and whether the control is to fit its text. Takes the marks out of the identifier.
struct LocalizationIdentifier {
    std::optional<std::string> id;
    bool sizeToFit = false;
};
LocalizationIdentifier localizationIdentifier(NSView& item);
LocalizationIdentifier localizationIdentifier(NSMenuItem& item);
LocalizationIdentifier localizationIdentifier(NSTableColumn& item);

} // namespace vitrel
