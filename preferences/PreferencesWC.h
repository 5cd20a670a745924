#pragma once

#include "platform/appkit/controls/NSButton.h"
#include "platform/appkit/controls/NSTableView.h"
#include "platform/appkit/controls/NSTextField.h"
#include "platform/appkit/controls/NSWindowController.h"
#include "platform/foundation/NSURL.h"
#include "preferences/VitrelItem.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

class ScreenSaverDefaults;
struct SettingsSurroundings;
struct SheetSurroundings;

// Who plays what the sheet chooses, as the delegate of its window.
class CompositionChangeReceiver
{
public:
    virtual ~CompositionChangeReceiver() = default;
    // Another composition is active, or its settings have changed.
    virtual void fileDidChange() = 0;
};

// The controller of the configure sheet: the list of compositions, the active one, the filter, the random choice, the
// feed's address. It has no model of its own: each change is stored as it is made, so that Cancel takes nothing back,
// and what other processes store shows at the next `updateData` and `updateView`. Works without a window description,
// and so without controls, for commands. Main thread.
class PreferencesWC : public NSWindowController, private NSTableViewDataSource, private NSTableViewDelegate
{
public:
    // Whether the track comes from the companion and the player is left alone: from version 10.14.0 of the system
    // on. Worked out afresh at each call. Any thread.
    static bool isCatalinaHTTPAPIFixEnabled(const SettingsSurroundings& surroundings);

    // Never null. The window is loaded when it is first asked for.
    static std::shared_ptr<PreferencesWC> initWithWindowNibName(
        const SheetSurroundings& surroundings, const std::string& name);
    ~PreferencesWC() override;

    // Fills the list anew from the store, by the filter.
    void updateData() { filterFilesList(); }
    void filterFilesList();
    // Brings the controls up to date with what is stored; the list follows in the next turn.
    void updateView();

    // Full paths in the order of adding; one may stand there twice.
    std::vector<std::string> filesPaths() const;
    void setFilesPaths(const std::vector<std::string>& paths);
    // Absent if nothing is stored; empty once the last composition was removed.
    std::optional<std::string> filePathActive() const;
    void setFilePathActive(const std::string& path);
    // What the table shows: paths of the list, in its order.
    const std::vector<std::string>& filteredFilesList() const { return filteredFilesList_; }
    // The active path's place in what the table shows; absent if it isn't there.
    std::optional<int> fileIndex() const;

    // The user chose what isn't in the table: a composition that comes along. The list stays as it is.
    void chooseFile(const std::string& path);

    void addFile();
    // Adds the files, with a bookmark each; the last becomes active. None is fine.
    void openPanelDidOpenFiles(const std::vector<NSURL>& urls);
    // Removes the active path; its successor, or the one ahead of the last, becomes active. Settings by file name and
    // bookmark stay for a file that comes again.
    void removeFile();
    void storeFeedURL(VitrelItem item, const std::string& address);
    // The random switch, as a click on it.
    void setUseRandomScreenSaver(bool random);
    // Stores the random switch and brings everything to the disk.
    void saveData();
    // Nothing happens if the bundle names no site.
    void openMuralisQuartzWebpage();

    // The controls' actions, by the names that the window description has.
    void buttonOK();
    void buttonCancel();
    void quartzAddFile() { addFile(); }
    void quartzRemoveFile() { removeFile(); }
    void menuRemoveFile();
    void showInFinder();
    void searchFieldDidChange();
    void checkboxUseRandomScreenSaver() { saveData(); }
    void checkboxListenToSound();
    void textFieldRSSFeedURL();
    void webpageQuartzComps() { openMuralisQuartzWebpage(); }
    void keyDown(const NSEvent& event) override;

    void setOutlet(std::string_view name, const std::shared_ptr<NSView>& view) override;
    std::optional<Selector> actionNamed(std::string_view name) const override;

    // The controls; null without a window description.
    const std::shared_ptr<NSTableView>& tableviewQuartzCompositions() const { return tableviewQuartzCompositions_; }
    const std::shared_ptr<NSSearchField>& searchfield() const { return searchfield_; }
    const std::shared_ptr<NSButton>& checkboxUseRandomScreenSaverControl() const
    {
        return checkboxUseRandomScreenSaver_;
    }
    const std::shared_ptr<NSButton>& checkboxListenToSoundControl() const { return checkboxListenToSound_; }
    const std::shared_ptr<NSTextField>& labelListenToSound() const { return labelListenToSound_; }
    const std::shared_ptr<NSTextField>& labelVersion() const { return labelVersion_; }
    const std::shared_ptr<NSTextField>& labelMusicAppsSupport() const { return labelMusicAppsSupport_; }
    const std::shared_ptr<NSTextField>& rssURLLabel() const { return rssURLLabel_; }
    const std::shared_ptr<NSTextField>& rssURLTextField() const { return rssURLTextField_; }

private:
    using NSWindowController::NSWindowController;

    // NSWindowController, the table's data source and delegate.
    void windowDidLoad() override;
    int numberOfRowsInTableView(const NSTableView& table) override;
    Value tableViewObjectValueForTableColumnRow(
        const NSTableView& table, const NSTableColumn* column, int row) override;
    void tableViewSelectionDidChange(const Value& notification) override;

    void load();
    void checkDefaults();
    void updateViewExtras();
    void updateTableView();
    void updateSelection();
    void delegateNotifyFileDidChange();
    void endSheet();
    std::shared_ptr<ScreenSaverDefaults> screensaverDefaults() const;
    std::optional<std::string> clickedPath() const;

    std::vector<std::string> filteredFilesList_;
    std::shared_ptr<NSTableView> tableviewQuartzCompositions_;
    std::shared_ptr<NSSearchField> searchfield_;
    std::shared_ptr<NSButton> checkboxUseRandomScreenSaver_, checkboxListenToSound_;
    std::shared_ptr<NSTextField> labelListenToSound_, labelVersion_, labelMusicAppsSupport_, rssURLLabel_,
        rssURLTextField_;
};

} // namespace vitrel
