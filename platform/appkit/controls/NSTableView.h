#pragma once

#include "platform/appkit/controls/NSControl.h"
#include "platform/appkit/controls/NSMenu.h"
#include "platform/foundation/Value.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

class NSTableView;

class NSTableColumn
{
public:
    const std::string& title() const { return title_; }
    void setTitle(const std::string& title) { title_ = title; }
    const std::optional<std::string>& identifier() const { return identifier_; }
    void setIdentifier(const std::string& identifier) { identifier_ = identifier; }

private:
    std::string title_;
    std::optional<std::string> identifier_;
};

// Where a table's rows come from.
class NSTableViewDataSource
{
public:
    virtual ~NSTableViewDataSource() = default;
    virtual int numberOfRowsInTableView(const NSTableView& table) = 0;
    // `column` may be null.
    virtual Value tableViewObjectValueForTableColumnRow(const NSTableView& table, const NSTableColumn* column, int row)
        = 0;
};

class NSTableViewDelegate
{
public:
    virtual ~NSTableViewDelegate() = default;
    virtual void tableViewSelectionDidChange(const Value& notification) = 0;
};

// A list. It asks its data source for a row when the row is shown and keeps none. Main thread.
class NSTableView : public NSControl
{
public:
    // Both not owned; whoever is one takes itself away before it goes.
    void setDataSource(NSTableViewDataSource* source) { dataSource_ = source; }
    NSTableViewDataSource* dataSource() const { return dataSource_; }
    void setDelegate(NSTableViewDelegate* delegate) { delegate_ = delegate; }

    void setMenu(std::shared_ptr<NSMenu> menu) { menu_ = std::move(menu); }
    const std::shared_ptr<NSMenu>& menu() const { return menu_; }

    const std::vector<std::shared_ptr<NSTableColumn>>& tableColumns() const { return columns_; }
    void addTableColumn(std::shared_ptr<NSTableColumn> column) { columns_.push_back(std::move(column)); }

    // Asks the data source anew. A selected row that is no more is no longer selected.
    void reloadData();
    int numberOfRows() const { return rows_; }

    // -1 without one. One row at most is selected.
    int selectedRow() const { return selectedRow_; }
    // The last of `rows` that exists becomes the selected row; the delegate hears of it if that is a change.
    void selectRowIndexesByExtendingSelection(const std::vector<int>& rows, bool extend);
    // The user chose a row: as above, but the delegate hears of it even if the row was selected, as the list beneath
    // may have moved since. Ignored for a row that isn't there.
    void chooseRow(int row);

    // The row on which the menu was opened; -1 outside any row.
    int clickedRow() const { return clickedRow_; }
    void setClickedRow(int row) { clickedRow_ = row; }

    // Ignored for a row that isn't there.
    void scrollRowToVisible(int row);

    // For what shows the table: the rows are other ones, a row is to be seen.
    std::function<void()> onReload;
    std::function<void(int row)> onScroll;

private:
    void select(int row);

    NSTableViewDataSource* dataSource_ = nullptr;
    NSTableViewDelegate* delegate_ = nullptr;
    std::shared_ptr<NSMenu> menu_;
    std::vector<std::shared_ptr<NSTableColumn>> columns_;
    int rows_ = 0;
    int selectedRow_ = -1;
    int clickedRow_ = -1;
};

} // namespace vitrel
