#pragma once

#include "platform/appkit/controls/NSWorkspace.h"

#include <string>
#include <vector>

namespace vitrel {

// A desktop that only remembers what it was asked.
struct RecordingWorkspace : NSWorkspace {
    std::vector<std::string> shown, opened;
    void activateFileViewerSelectingURLs(const std::vector<NSURL>& files) override
    {
        for (const auto& file : files)
            shown.push_back(file.path());
    }
    bool openURL(const std::string& address) override
    {
        opened.push_back(address);
        return true;
    }
};

} // namespace vitrel
