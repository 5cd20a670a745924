// What the user does in the sheet.
#include "platform/appkit/controls/NSOpenPanel.h"
#include "platform/appkit/controls/NSWorkspace.h"
#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/PreferencesWC.h"
#include "preferences/Settings.h"

#include <algorithm>

namespace vitrel {
namespace {

constexpr const char* kWebsiteKey = "VitrelWebsite";
constexpr const char* kCompositionsPage = "apps/muralis/quartz/";

// A change to the list depends on what it reads there; another process must not come between.
class ListChange
{
public:
    // Without a `saver` the list can't be stored, and nothing need be kept together.
    ListChange(const SheetSurroundings& surroundings, const NSUserDefaults* saver)
    {
        if (saver) {
            saver_.emplace(*surroundings.defaults, saver->domain());
            host_.emplace(*surroundings.defaults, NSUserDefaults::kHostDomain);
        }
    }

private:
    std::optional<DefaultsStore::Batch> saver_, host_;
};

} // namespace

void PreferencesWC::chooseFile(const std::string& path)
{
    setFilePathActive(path);
    delegateNotifyFileDidChange();
    updateView();
}

void PreferencesWC::addFile()
{
    const auto panel = NSOpenPanel::openPanel(surroundings());
    panel->setCanChooseFiles(true);
    panel->setCanChooseDirectories(false);
    panel->setAllowsMultipleSelection(true);
    panel->setAllowedFileTypes({"qtz"});
    const auto self = std::static_pointer_cast<PreferencesWC>(shared_from_this());
    panel->beginWithCompletionHandler([self, panel = panel.get()](int) { self->openPanelDidOpenFiles(panel->URLs()); });
}

void PreferencesWC::openPanelDidOpenFiles(const std::vector<NSURL>& urls)
{
    if (!urls.empty()) {
        const ListChange change(surroundings(), screensaverDefaults().get());
        auto paths = filesPaths();
        const auto host = NSUserDefaults::standardUserDefaults(surroundings());
        std::string last;
        for (const NSURL& url : urls) {
            const auto bookmark = url.bookmarkData();
            NSLog(surroundings().log, "error %@", {bookmark ? std::string() : "no bookmark of " + url.path()});
            host->setObjectForKey(bookmark ? Value(std::make_shared<const Bytes>(*bookmark)) : Value(), url.path());
            paths.push_back(url.path());
            last = url.path();
        }
        setFilePathActive(last);
        host->synchronize();
        setFilesPaths(paths);
    }
    updateData();
    updateView();
}

void PreferencesWC::removeFile()
{
    {
        const ListChange change(surroundings(), screensaverDefaults().get());
        auto paths = filesPaths();
        const std::string active = filePathActive().value_or("");
        const auto place = std::find(paths.begin(), paths.end(), active);
        std::optional<std::size_t> next;
        if (place != paths.end())
            next = static_cast<std::size_t>(place - paths.begin());
        std::erase(paths, active);
        if (next && *next == paths.size())
            next = *next > 0 ? std::optional(*next - 1) : std::nullopt;
        setFilePathActive("");
        if (next && *next < paths.size())
            setFilePathActive(paths[*next]);
        setFilesPaths(paths);
    }
    updateData();
    updateView();
    delegateNotifyFileDidChange();
}

std::optional<std::string> PreferencesWC::clickedPath() const
{
    const int row = tableviewQuartzCompositions_ ? tableviewQuartzCompositions_->clickedRow() : -1;
    if (row < 0 || static_cast<std::size_t>(row) >= filteredFilesList_.size())
        return std::nullopt;
    return filteredFilesList_[static_cast<std::size_t>(row)];
}

void PreferencesWC::menuRemoveFile()
{
    if (const auto path = clickedPath()) {
        setFilePathActive(*path);
        removeFile();
    }
}

void PreferencesWC::showInFinder()
{
    if (const auto path = clickedPath(); path && surroundings().workspace)
        surroundings().workspace->activateFileViewerSelectingURLs({NSURL::fileURLWithPath(*path)});
}

void PreferencesWC::searchFieldDidChange()
{
    updateData();
    updateView();
}

void PreferencesWC::textFieldRSSFeedURL()
{
    if (const auto item = Settings::shared(surroundings()).selectedVitrelItem())
        storeFeedURL(*item, rssURLTextField_ ? rssURLTextField_->stringValue() : std::string());
    delegateNotifyFileDidChange();
}

void PreferencesWC::checkboxListenToSound()
{
    if (checkboxListenToSound_)
        Settings::shared(surroundings()).setListensToSound(checkboxListenToSound_->state() != NSButton::kOff);
    delegateNotifyFileDidChange(); // who plays it asked for its way to the sound as it began
}

void PreferencesWC::storeFeedURL(VitrelItem item, const std::string& address)
{
    item.setData(address, VitrelItem::Key::rssFeedURL);
}

void PreferencesWC::saveData()
{
    const auto defaults = screensaverDefaults();
    if (!defaults)
        return;
    // Without a check box nobody has changed what is stored.
    if (checkboxUseRandomScreenSaver_)
        defaults->setBoolForKey(checkboxUseRandomScreenSaver_->state() != NSButton::kOff, "Use Random Screen Saver");
    defaults->synchronize();
}

void PreferencesWC::setUseRandomScreenSaver(bool random)
{
    send(checkboxUseRandomScreenSaver_, &NSButton::setState, random ? NSButton::kOn : NSButton::kOff);
    if (const auto defaults = screensaverDefaults())
        defaults->setBoolForKey(random, "Use Random Screen Saver");
    saveData();
}

void PreferencesWC::keyDown(const NSEvent& event)
{
    if (event.keyCode == NSEvent::kDelete)
        quartzRemoveFile();
}

void PreferencesWC::buttonOK()
{
    saveData();
    endSheet();
}

void PreferencesWC::buttonCancel()
{
    endSheet();
}

void PreferencesWC::endSheet()
{
    // The window's delegate lets go of its controller when it closes.
    const auto self = shared_from_this();
    const auto sheet = window();
    if (surroundings().endSheet)
        surroundings().endSheet(sheet);
    else
        sheet->close();
}

void PreferencesWC::openMuralisQuartzWebpage()
{
    const NSBundle* bundle = surroundings().classBundle;
    if (!bundle || !surroundings().workspace)
        return;
    const auto* address = textMember(bundle->infoDictionary(), kWebsiteKey);
    if (!address || address->empty())
        return;
    surroundings().workspace->openURL(*address + (address->ends_with('/') ? "" : "/") + kCompositionsPage);
}

} // namespace vitrel
