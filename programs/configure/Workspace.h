#pragma once

#include "platform/appkit/controls/NSWorkspace.h"

namespace vitrel {

// Asks the desktop: its file manager over the session bus, else whatever opens folders; its browser. Nothing here waits
// for an answer.
class Workspace : public NSWorkspace
{
public:
    void activateFileViewerSelectingURLs(const std::vector<NSURL>& files) override;
    bool openURL(const std::string& address) override;
};

} // namespace vitrel
