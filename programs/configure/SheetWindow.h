#pragma once

#include "platform/foundation/Value.h"
#include "preferences/BuiltInCompositions.h"
#include "preferences/PreferencesWC.h"
#include "programs/configure/Binder.h"
#include "programs/configure/LivePicture.h"
#include "programs/configure/ProgramRuns.h"
#include "programs/configure/SheetTexts.h"
#include "programs/configure/TryOut.h"
#include "programs/watch/FileWatch.h"

#include <QDialog>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace Ui {
class PreferencesWC;
}

namespace vitrel {

class BringingBar;
class CompositionDelegate;
class NSOpenPanel;
class OptionsPane;
class PreviewLink;
class StartPage;
class TableBinder;
class Thumbnails;
struct SheetSurroundings;

// The settings window: the controller's controls as widgets, the live preview, what is dropped onto the window, and
// what other processes store meanwhile. Main thread.
class SheetWindow : public QDialog
{
public:
    // All must outlive it but the controller, which it holds. What the controller asks of a desktop's windows is from
    // now on asked of this one: `surroundings` get `showOpenPanel` and `endSheet`. `program` is the path of the saver's
    // program, for what plays in the grid and on the whole screen; `run` runs others for the page of the start, in a
    // way of its own if it is empty.
    SheetWindow(SheetSurroundings& surroundings, std::shared_ptr<PreferencesWC> controller, PreviewLink& preview,
        Thumbnails& thumbnails, const std::string& program = {}, RunProgram run = {});
    ~SheetWindow() override;

    // Adds compositions to the list and makes the last of them active, also those of folders and archives, which are
    // looked for first. Those that the list has are only made active.
    void openFiles(const std::vector<std::string>& paths);

    // As a click on Cancel. Also what Escape and the window's own button do.
    void reject() override;

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    class ChangeReceiver;

    void arrange();
    void makePages(const std::string& program, RunProgram run);
    void bindControls();
    void bindTable();
    void bindViews();
    void showAsGrid(bool grid);
    void tryOut(const std::string& path);
    void tryOutDidChange();
    void drawIcons();
    void showBuiltIn();
    void nameForReaders();
    void showPanel(const std::shared_ptr<NSOpenPanel>& panel);
    void tableDidReload();
    void storeDidChange();
    void watchFiles();
    void filesDidChange(const std::set<std::string>& paths);
    void compositionDidChange();
    void showCompositionName();
    void showEmptyText();
    void showOptions();
    std::string activePath() const;
    Dictionary stored() const;

    SheetSurroundings& surroundings_;
    const std::shared_ptr<PreferencesWC> controller_;
    PreviewLink& preview_;
    Thumbnails& thumbnails_;
    const SheetTexts texts_;
    const std::unique_ptr<Ui::PreferencesWC> ui_;
    std::shared_ptr<ChangeReceiver> receiver_;
    std::shared_ptr<NSButton> removeButton_;
    Binder binder_;
    const BuiltInCompositions builtIn_;
    std::unique_ptr<TableBinder> table_;
    OptionsPane* options_ = nullptr; // the window's
    BringingBar* bringing_ = nullptr; // likewise
    CompositionDelegate* delegate_ = nullptr; // the list's
    LivePicture live_;
    TryOut tryOut_;
    ProgramRuns runs_;
    StartPage* startPage_ = nullptr; // a child
    std::unique_ptr<FileWatch> watch_; // of the store
    std::unique_ptr<FileWatch> filesWatch_; // of the compositions in the list
    std::vector<std::string> watchedFiles_;
    Dictionary shown_; // the store's contents that the window shows
    std::string playing_; // the composition that the preview was last told to load
};

} // namespace vitrel
