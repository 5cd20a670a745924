// The window's list and grid of compositions, what plays in it and what fills the screen.
#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/Settings.h"
#include "programs/configure/AboutLabel.h"
#include "programs/configure/CompositionDelegate.h"
#include "programs/configure/SheetWindow.h"
#include "programs/configure/TableBinder.h"
#include "programs/preview/PreviewLink.h"
#include "programs/thumbnails/Thumbnails.h"
#include "ui_PreferencesWC.h"

namespace vitrel {
namespace {

// How the compositions are shown.
constexpr const char *kViewKey = "Settings View", *kGrid = "grid", *kList = "list";

} // namespace

void SheetWindow::bindTable()
{
    QListView& list = *ui_->tableviewQuartzCompositions;
    for (const auto& one : builtIn_.all())
        thumbnails_.comesAlong(one.path, one.picture);
    delegate_ = new CompositionDelegate({[this](const std::string& path) { return thumbnails_.thumbnail(path); },
                                            [this](const std::string& path) { return live_.frame(path); }},
        &list);
    list.setItemDelegate(delegate_);
    const auto pathOfRow = [this](int row) {
        const auto& paths = controller_->filteredFilesList();
        return row >= 0 && std::size_t(row) < paths.size() ? paths[std::size_t(row)] : std::string();
    };
    table_ = std::make_unique<TableBinder>(controller_->tableviewQuartzCompositions(), list,
        TableBinder::Files{pathOfRow, [this] { return activePath(); }}, texts_);
    if (!builtIn_.all().empty())
        table_->model().setHeadings(texts_("Included"), texts_("My Compositions"));
    table_->model().setNotes([this](const std::string& path) {
        const auto facts = thumbnails_.facts(path);
        return facts ? CompositionNotes{aboutInWords(*facts), missingInWords(*facts, texts_)} : CompositionNotes();
    });
    table_->onChooseBuiltIn = [this](const std::string& path) { controller_->chooseFile(path); };
    table_->onRemove = [this] { controller_->keyDown({NSEvent::kDelete}); };
    table_->onTry = [this](const std::string& path) { tryOut(path); };
    table_->onSeen = [this](const std::vector<std::string>& paths) { thumbnails_.want(paths); };
    table_->onReload = [this] { tableDidReload(); };
    thumbnails_.onReady = [this](const std::string& path) { table_->touch(path); };
    // Ahead of the controller, which filters what is the user's.
    connect(ui_->searchfield, &QLineEdit::textChanged, this, [this] { showBuiltIn(); });
    showBuiltIn();
    controller_->updateView();
}

// The filter is for all names alike. The rows follow with the table's.
void SheetWindow::showBuiltIn()
{
    const QString filter = ui_->searchfield->text();
    std::vector<BuiltInComposition> shown;
    for (const auto& one : builtIn_.all()) {
        if (shownName(one.name).contains(filter, Qt::CaseInsensitive))
            shown.push_back(one);
    }
    table_->model().setBuiltIn(std::move(shown));
}

// List and grid, what plays in the grid, and what fills the screen.
void SheetWindow::bindViews()
{
    const auto settings = Settings::shared(surroundings_).screenSaverDefaults();
    const bool grid = settings->stringForKey(kViewKey).value_or(kGrid) != kList;
    showAsGrid(grid);
    const auto choose = [this](bool isGrid) {
        const auto store = Settings::shared(surroundings_).screenSaverDefaults();
        store->setObjectForKey(isGrid ? kGrid : kList, kViewKey);
        store->synchronize();
        showAsGrid(isGrid);
    };
    connect(ui_->gridButton, &QAbstractButton::clicked, this, [choose] { choose(true); });
    connect(ui_->listButton, &QAbstractButton::clicked, this, [choose] { choose(false); });
    table_->onPoint = [this](const std::string& path) {
        const QListView& list = *ui_->tableviewQuartzCompositions;
        live_.setSize((QSizeF(CompositionDelegate::cellPicture(list)) * list.devicePixelRatioF()).toSize());
        live_.pointAt(ui_->gridButton->isChecked() && !tryOut_.isPlaying() ? path : std::string());
    };
    live_.onFrame = [this](const std::string& path) { table_->touch(path); };
    connect(ui_->tryButton, &QAbstractButton::clicked, this, [this] { tryOut(activePath()); });
    tryOut_.onChange = [this] { tryOutDidChange(); };
}

void SheetWindow::showAsGrid(bool grid)
{
    (grid ? ui_->gridButton : ui_->listButton)->setChecked(true);
    delegate_->setGrid(grid);
    ui_->columnsLayout->setStretch(0, grid ? 3 : 2);
    ui_->columnsLayout->setStretch(1, grid ? 2 : 3);
    table_->showAsGrid(grid);
}

void SheetWindow::tryOut(const std::string& path)
{
    live_.pointAt({});
    tryOut_.begin(path);
}

// Beneath it nobody sees the preview, and what is left of the machine is for the screen.
void SheetWindow::tryOutDidChange()
{
    preview_.setShown(!tryOut_.isPlaying() && isVisible() && !isMinimized());
    ui_->tryButton->setEnabled(!tryOut_.isPlaying());
    if (!tryOut_.isPlaying())
        activateWindow();
}

} // namespace vitrel
