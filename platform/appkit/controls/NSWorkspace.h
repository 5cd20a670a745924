#pragma once

#include "platform/foundation/NSURL.h"

#include <string>
#include <vector>

namespace vitrel {

// What the desktop does for its programs. Main thread.
class NSWorkspace
{
public:
    virtual ~NSWorkspace() = default;

    // Shows the files in the file manager, selected.
    virtual void activateFileViewerSelectingURLs(const std::vector<NSURL>& files) = 0;
    // Opens an address of the web in the user's browser. False if nothing could be asked to.
    virtual bool openURL(const std::string& address) = 0;
};

} // namespace vitrel
