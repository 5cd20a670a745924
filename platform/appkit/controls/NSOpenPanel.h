#pragma once

#include "platform/foundation/NSObject.h"
#include "platform/foundation/NSURL.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

struct SheetSurroundings;

// Asks the user for files. The desktop's own dialog stands behind it. Main thread.
class NSOpenPanel : public NSObject
{
public:
    static constexpr int kCancel = 0, kOK = 1;

    // Never null.
    static std::shared_ptr<NSOpenPanel> openPanel(const SheetSurroundings& surroundings);

    void setCanChooseFiles(bool can) { canChooseFiles_ = can; }
    bool canChooseFiles() const { return canChooseFiles_; }
    void setCanChooseDirectories(bool can) { canChooseDirectories_ = can; }
    bool canChooseDirectories() const { return canChooseDirectories_; }
    void setAllowsMultipleSelection(bool allows) { allowsMultipleSelection_ = allows; }
    bool allowsMultipleSelection() const { return allowsMultipleSelection_; }
    // Extensions without the dot.
    void setAllowedFileTypes(std::vector<std::string> types) { allowedFileTypes_ = std::move(types); }
    const std::vector<std::string>& allowedFileTypes() const { return allowedFileTypes_; }

    // Returns at once; the handler hears of the end, with kOK or kCancel, when the user is done. Where there is no
    // dialog, that is a cancel in this very call.
    void beginWithCompletionHandler(std::function<void(int result)> handler);
    // What was chosen; empty after a cancel.
    const std::vector<NSURL>& URLs() const { return urls_; }

    // For the desktop's dialog: the user is done. Only the first call counts.
    void end(int result, std::vector<NSURL> urls);

private:
    explicit NSOpenPanel(const SheetSurroundings& surroundings)
        : surroundings_(surroundings)
    { }

    const SheetSurroundings& surroundings_;
    bool canChooseFiles_ = true, canChooseDirectories_ = false, allowsMultipleSelection_ = false;
    std::vector<std::string> allowedFileTypes_;
    std::function<void(int)> handler_;
    std::vector<NSURL> urls_;
};

} // namespace vitrel
