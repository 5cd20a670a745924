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
    table_->onScroll = [this](int row) { scrollTo(row); };
    connect(list_.selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { selectionDidChange(); });
    connect(list_.verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { seenTimer_.start(); });
    list_.installEventFilter(this);
    list_.viewport()->installEventFilter(this);
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

void TableBinder::reload()
{
    showing_ = true;
    const int place = list_.verticalScrollBar()->value();
    if (model_.rowCount() != table_->numberOfRows())
        scrolledTo_.reset();
    model_.reload();
    // The rows have one height, so their places can be known before the list has worked them out.
    list_.verticalScrollBar()->setValue(place);
    showing_ = false;
    showSelection();
    placeEmptyText();
    seenTimer_.start();
    if (onReload)
        onReload();
}

bool TableBinder::hasChosenRow() const
{
    return list_.selectionModel()->hasSelection();
}

void TableBinder::showSelection()
{
    const int row = table_->selectedRow();
    const bool chosen = row >= 0 && row < model_.rowCount() && files_.isChosen(row);
    const QModelIndex index = chosen ? model_.index(row) : QModelIndex();
    showing_ = true;
    if (chosen)
        list_.selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    else
        list_.selectionModel()->clear();
    showing_ = false;
}

// The current row may be another one: a list that gets the focus marks its first row, and nobody has chosen that.
void TableBinder::selectionDidChange()
{
    const auto rows = list_.selectionModel()->selectedRows();
    if (!showing_ && !rows.isEmpty())
        table_->chooseRow(rows.front().row());
}

void TableBinder::scrollTo(int row)
{
    const std::pair wanted(row, files_.pathOfRow(row));
    // The controller asks at every update; who has scrolled elsewhere since is left there.
    if (wanted == scrolledTo_)
        return;
    scrolledTo_ = wanted;
    list_.scrollTo(model_.index(row));
}

void TableBinder::openMenu(const QPoint& place)
{
    const auto menu = table_->menu();
    if (!menu)
        return;
    const QModelIndex index = list_.indexAt(place);
    table_->setClickedRow(index.isValid() ? index.row() : -1);
    if (!index.isValid())
        return;
    list_.selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate); // marks it
    const std::string path = files_.pathOfRow(index.row());
    auto* shown = new QMenu(&list_);
    shown->setAttribute(Qt::WA_DeleteOnClose);
    shown->setAccessibleName(texts_(menu->title()));
    for (const auto& item : menu->itemArray()) {
        if (item->isSeparatorItem()) {
            shown->addSeparator();
            continue;
        }
        connect(shown->addAction(texts_(item->title())), &QAction::triggered, this, [this, item, path] {
            // Another process may have changed the list while the menu was open.
            int row = table_->clickedRow();
            for (int other = 0; files_.pathOfRow(row) != path && other < table_->numberOfRows(); ++other)
                row = other;
            table_->setClickedRow(files_.pathOfRow(row) == path ? row : -1);
            item->sendAction();
            table_->setClickedRow(-1);
        });
    }
    connect(shown, &QMenu::aboutToHide, this, [this] { showSelection(); });
    shown->popup(list_.viewport()->mapToGlobal(place));
}

bool TableBinder::keyDidGoDown(int key)
{
    switch (key) {
    case Qt::Key_Delete:
        // Nobody loses what he doesn't see.
        if (hasChosenRow() && onRemove)
            onRemove();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // The row is chosen already; the window's own button isn't meant.
        return true;
    default:
        return false;
    }
}

bool TableBinder::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == &list_ && event->type() == QEvent::KeyPress)
        return keyDidGoDown(static_cast<QKeyEvent*>(event)->key());
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

std::pair<int, int> TableBinder::seenRows() const
{
    const QRect area = list_.viewport()->rect();
    const QModelIndex first = list_.indexAt(area.topLeft() + QPoint(1, 1));
    const QModelIndex last = list_.indexAt(area.bottomLeft() + QPoint(1, -1));
    return {first.isValid() ? first.row() : 0, last.isValid() ? last.row() : model_.rowCount() - 1};
}

void TableBinder::tellSeen()
{
    if (!onSeen || !list_.isVisible())
        return;
    std::vector<std::string> paths;
    const auto [first, last] = seenRows();
    for (int row = first; row <= last; ++row)
        paths.push_back(files_.pathOfRow(row));
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
        if (files_.pathOfRow(row) == path)
            model_.touch(row, row);
    }
}

} // namespace vitrel
