#include "platform/appkit/controls/NSTableView.h"

namespace vitrel {

void NSTableView::reloadData()
{
    rows_ = dataSource_ ? dataSource_->numberOfRowsInTableView(*this) : 0;
    const bool lost = selectedRow_ >= rows_;
    if (lost)
        selectedRow_ = -1;
    if (clickedRow_ >= rows_)
        clickedRow_ = -1;
    if (onReload)
        onReload();
    if (lost && delegate_)
        delegate_->tableViewSelectionDidChange({});
}

void NSTableView::select(int row)
{
    selectedRow_ = row;
    didChange();
    if (delegate_)
        delegate_->tableViewSelectionDidChange({});
}

void NSTableView::selectRowIndexesByExtendingSelection(const std::vector<int>& rows, bool extend)
{
    int chosen = extend ? selectedRow_ : -1;
    for (const int row : rows) {
        if (row >= 0 && row < rows_)
            chosen = row;
    }
    if (chosen != selectedRow_)
        select(chosen);
}

void NSTableView::chooseRow(int row)
{
    if (row >= 0 && row < rows_)
        select(row);
}

void NSTableView::scrollRowToVisible(int row)
{
    if (row >= 0 && row < rows_ && onScroll)
        onScroll(row);
}

} // namespace vitrel
