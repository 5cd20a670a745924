#include "programs/configure/TableBinder.h"

#include "platform/appkit/controls/NSTableView.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QScrollBar>

#include <algorithm>

namespace vitrel {
namespace {

// While a list is being scrolled, its pictures wait for it to rest a moment.
constexpr int kSeenPause = 40; // milliseconds

} // namespace

TableBinder::TableBinder(std::shared_ptr<NSTableView> table, QListView& list, Files files, const SheetTexts& texts)
    : table_(std::move(table))
    , list_(list)
    , files_(std::move(files))
    , texts_(texts)
    , model_(*table_, files_.pathOfRow)
{
    list_.setModel(&model_);
    emptyText_ = new QLabel(list_.viewport());
    emptyText_->setAlignment(Qt::AlignCenter);
    emptyText_->setWordWrap(true);
    emptyText_->setTextFormat(Qt::RichText);
    emptyText_->setForegroundRole(QPalette::Text);
    emptyText_->setAttribute(Qt::WA_TransparentForMouseEvents);
    seenTimer_.setSingleShot(true);
    seenTimer_.setInterval(kSeenPause);
    seenTimer_.callOnTimeout(this, [this] { tellSeen(); });

    table_->onReload = [this] { reload(); };
    table_->onChange = [this] { showSelection(); };
    // A table keeps its row although something else was chosen since.
    table_->onScroll = [this](int row) {
        if (files_.pathOfRow(row) == files_.chosen())
            scrollTo(model_.rowOfTable(row));
    };
    connect(list_.selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { selectionDidChange(); });
    connect(list_.verticalScrollBar(), &QScrollBar::valueChanged, this, [this] {
        pointAt({-1, -1}); // until the pointer moves again
        seenTimer_.start();
    });
    list_.installEventFilter(this);
    list_.viewport()->installEventFilter(this);
    list_.viewport()->setMouseTracking(true);
    reload();
}

TableBinder::~TableBinder()
{
    table_->onReload = nullptr;
    table_->onChange = nullptr;
    table_->onScroll = nullptr;
    list_.removeEventFilter(this);
    list_.viewport()->removeEventFilter(this);
    showing_ = true;
    list_.setModel(nullptr);
}

void TableBinder::setEmptyText(const QString& title, const QString& advice)
{
    emptyText_->setText(QStringLiteral("<p style='margin:0 0 4px 0'><b>%1</b></p><p style='margin:0'>%2</p>")
                            .arg(title.toHtmlEscaped(), advice.toHtmlEscaped()));
    placeEmptyText();
}

void TableBinder::placeEmptyText()
{
    emptyText_->setGeometry(list_.viewport()->rect().adjusted(16, 8, -16, -8));
    emptyText_->setVisible(model_.rowCount() == 0);
}

// A list's rows lie one beneath the other; a grid's in lines, each as long as the view is wide.
void TableBinder::showAsGrid(bool grid)
{
    list_.setFlow(grid ? QListView::LeftToRight : QListView::TopToBottom);
    list_.setWrapping(grid);
    list_.setResizeMode(QListView::Adjust);
    list_.setVerticalScrollBarPolicy(grid ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAsNeeded);
    pointAt({-1, -1});
    if (const QModelIndex current = list_.currentIndex(); current.isValid())
        list_.scrollTo(current);
    seenTimer_.start();
}

void TableBinder::reload()
{
    showing_ = true;
    const int place = list_.verticalScrollBar()->value(), rows = model_.rowCount();
    model_.reload();
    if (model_.rowCount() != rows)
        scrolledTo_.reset();
    // The rows have one height, so their places can be known before the list has worked them out.
    list_.verticalScrollBar()->setValue(place);
    showing_ = false;
    showSelection();
    placeEmptyText();
    seenTimer_.start();
    if (onReload)
        onReload();
}

// Of the list; -1 without one.
int TableBinder::chosenRow() const
{
    const auto rows = list_.selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.front().row();
}

bool TableBinder::hasChosenRow() const
{
    return model_.tableRow(chosenRow()).has_value();
}

void TableBinder::showSelection()
{
    const std::string path = files_.chosen();
    const int selected = table_->selectedRow();
    std::optional<int> row;
    if (selected >= 0 && selected < table_->numberOfRows() && files_.pathOfRow(selected) == path)
        row = model_.rowOfTable(selected);
    else
        row = model_.rowOfBuiltIn(path);
    const bool isThere = row && *row < model_.rowCount();
    showing_ = true;
    if (isThere)
        list_.selectionModel()->setCurrentIndex(model_.index(*row), QItemSelectionModel::ClearAndSelect);
    else
        list_.selectionModel()->clear();
    showing_ = false;
    if (isThere && !model_.tableRow(*row))
        scrollTo(*row);
}

// The current row may be another one: a list that gets the focus marks its first row, and nobody has chosen that.
void TableBinder::selectionDidChange()
{
    const int row = chosenRow();
    if (showing_ || row < 0)
        return;
    if (const auto own = model_.tableRow(row))
        table_->chooseRow(*own);
    else if (onChooseBuiltIn && !model_.isHeading(row))
        onChooseBuiltIn(model_.path(row));
}

void TableBinder::scrollTo(int row)
{
    const std::pair wanted(row, model_.path(row));
    // The controller asks at every update; who has scrolled elsewhere since is left there.
    if (wanted == scrolledTo_)
        return;
    scrolledTo_ = wanted;
    list_.scrollTo(model_.index(row));
}

void TableBinder::openMenu(const QPoint& place)
{
    const QModelIndex index = list_.indexAt(place);
    const auto own = index.isValid() ? model_.tableRow(index.row()) : std::nullopt;
    table_->setClickedRow(own.value_or(-1));
    if (!index.isValid() || model_.isHeading(index.row()))
        return;
    list_.selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate); // marks it
    const std::string path = model_.path(index.row());
    auto* shown = new QMenu(&list_);
    shown->setAttribute(Qt::WA_DeleteOnClose);
    if (const auto menu = table_->menu())
        shown->setAccessibleName(texts_(menu->title()));
    connect(shown->addAction(texts_("Try Full Screen")), &QAction::triggered, this, [this, path] {
        if (onTry)
            onTry(path);
    });
    if (own)
        addTableItems(*shown, path);
    connect(shown, &QMenu::aboutToHide, this, [this] { showSelection(); });
    shown->popup(list_.viewport()->mapToGlobal(place));
}

// What the table's own menu has for its row.
void TableBinder::addTableItems(QMenu& shown, const std::string& path)
{
    const auto menu = table_->menu();
    if (!menu)
        return;
    for (const auto& item : menu->itemArray()) {
        if (item->isSeparatorItem()) {
            shown.addSeparator();
            continue;
        }
        connect(shown.addAction(texts_(item->title())), &QAction::triggered, this, [this, item, path] {
            // Another process may have changed the list while the menu was open.
            int row = table_->clickedRow();
            for (int other = 0; files_.pathOfRow(row) != path && other < table_->numberOfRows(); ++other)
                row = other;
            table_->setClickedRow(files_.pathOfRow(row) == path ? row : -1);
            item->sendAction();
            table_->setClickedRow(-1);
        });
    }
}

bool TableBinder::goTo(int row)
{
    if (row < model_.rowCount())
        list_.setCurrentIndex(model_.index(row));
    return true;
}

bool TableBinder::keyDidGoDown(const QKeyEvent& event)
{
    switch (event.key()) {
    case Qt::Key_Delete:
        // Nobody loses what he doesn't see.
        if (hasChosenRow() && onRemove)
            onRemove();
        return true;
    case Qt::Key_Space:
        // A key that is held down would end at once what it began.
        if (chosenRow() >= 0 && onTry && !event.isAutoRepeat())
            onTry(model_.path(chosenRow()));
        return true;
    case Qt::Key_Home:
        // The first row is a heading, where the list would stay.
        return event.modifiers() == Qt::NoModifier && goTo(model_.isHeading(0) ? 1 : 0);
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // The row is chosen already; the window's own button isn't meant.
        return true;
    default:
        return false;
    }
}

void TableBinder::pointAt(const QPoint& place)
{
    const QModelIndex index = list_.indexAt(place);
    std::string path = index.isValid() ? model_.path(index.row()) : std::string();
    if (path == pointedAt_)
        return;
    pointedAt_ = std::move(path);
    if (onPoint)
        onPoint(pointedAt_);
}

bool TableBinder::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == &list_ && event->type() == QEvent::KeyPress)
        return keyDidGoDown(*static_cast<QKeyEvent*>(event));
    if (watched == list_.viewport() && event->type() == QEvent::MouseMove)
        pointAt(static_cast<QMouseEvent*>(event)->position().toPoint());
    if (watched == list_.viewport() && (event->type() == QEvent::Leave || event->type() == QEvent::Hide))
        pointAt({-1, -1});
    // Only the first button chooses; the others are for the row beneath them, whichever is chosen.
    if (watched == list_.viewport() && event->type() == QEvent::MouseButtonPress
        && static_cast<QMouseEvent*>(event)->button() != Qt::LeftButton)
        return true;
    if (event->type() == QEvent::ContextMenu) {
        const auto* asked = static_cast<QContextMenuEvent*>(event);
        const bool byKey = asked->reason() == QContextMenuEvent::Keyboard;
        openMenu(byKey ? list_.visualRect(list_.currentIndex()).center() : asked->pos());
        return true;
    }
    if (watched == list_.viewport() && (event->type() == QEvent::Resize || event->type() == QEvent::Show)) {
        placeEmptyText();
        seenTimer_.start();
    }
    return false;
}

// Whole lines of a grid.
std::pair<int, int> TableBinder::seenRows() const
{
    const QRect area = list_.viewport()->rect();
    const QModelIndex first = list_.indexAt(area.topLeft() + QPoint(1, 1));
    const QModelIndex below = list_.indexAt(area.bottomLeft() + QPoint(1, -1));
    int last = below.isValid() ? below.row() : model_.rowCount() - 1;
    while (list_.isWrapping() && below.isValid() && last + 1 < model_.rowCount()
        && list_.visualRect(model_.index(last + 1)).top() == list_.visualRect(below).top())
        ++last;
    return {first.isValid() ? first.row() : 0, last};
}

void TableBinder::tellSeen()
{
    if (!onSeen || !list_.isVisible())
        return;
    std::vector<std::string> paths;
    const auto [first, last] = seenRows();
    for (int row = first; row <= last; ++row) {
        if (!model_.isHeading(row))
            paths.push_back(model_.path(row));
    }
    onSeen(paths);
}

void TableBinder::seeAgain()
{
    seenTimer_.start();
}

void TableBinder::touch(const std::string& path)
{
    const auto [first, last] = seenRows();
    for (int row = first; row <= last; ++row) {
        if (model_.path(row) == path)
            model_.touch(row, row);
    }
}

} // namespace vitrel
