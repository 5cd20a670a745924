#pragma once

#include "programs/configure/CompositionsModel.h"
#include "programs/configure/SheetTexts.h"

#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class QKeyEvent;
class QLabel;
class QListView;
class QMenu;

namespace vitrel {

class NSTableView;

// Shows a table of files as a list or as a grid, beneath those that come along: rows, selection, menu, what stands in
// its place when it is empty; and tells the table what the user does. Main thread.
class TableBinder : public QObject
{
public:
    // What the binder must know of the files behind the rows.
    struct Files {
        std::function<std::string(int row)> pathOfRow;
        // The file that is in force. A table keeps a row's number selected when the list beneath it changes; only a row
        // that really counts is shown as chosen.
        std::function<std::string()> chosen;
    };

    TableBinder(std::shared_ptr<NSTableView> table, QListView& list, Files files, const SheetTexts& texts);
    ~TableBinder() override;

    // The user chose one that comes along.
    std::function<void(const std::string& path)> onChooseBuiltIn;
    // The user wants the chosen row gone. It is one of the table.
    std::function<void()> onRemove;
    // The user wants to see one fill the screen.
    std::function<void(const std::string& path)> onTry;
    // The pointer is over another file's place, or over none's.
    std::function<void(const std::string& path)> onPoint;
    // Other rows are seen; from the first to the last.
    std::function<void(const std::vector<std::string>& paths)> onSeen;
    // The table's rows were replaced.
    std::function<void()> onReload;

    CompositionsModel& model() { return model_; }
    // The grid's cells fill its width; the list has a row for each.
    void showAsGrid(bool grid);

    // What stands in the list while it is empty.
    void setEmptyText(const QString& title, const QString& advice);
    // Paints a file's rows anew if they are seen.
    void touch(const std::string& path);
    // Says soon, as after a scroll, which rows are seen.
    void seeAgain();
    // Whether a row of the table is shown as chosen.
    bool hasChosenRow() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void reload();
    void showSelection();
    void selectionDidChange();
    void scrollTo(int row);
    int chosenRow() const;
    void openMenu(const QPoint& place);
    void addTableItems(QMenu& shown, const std::string& path);
    bool keyDidGoDown(const QKeyEvent& event);
    bool goTo(int row);
    void pointAt(const QPoint& place);
    void tellSeen();
    void placeEmptyText();
    std::pair<int, int> seenRows() const;

    const std::shared_ptr<NSTableView> table_;
    QListView& list_;
    const Files files_;
    const SheetTexts texts_;
    CompositionsModel model_;
    QLabel* emptyText_ = nullptr; // the list's
    QTimer seenTimer_;
    bool showing_ = false;
    std::optional<std::pair<int, std::string>> scrolledTo_; // a row and its path
    std::string pointedAt_;
};

} // namespace vitrel
