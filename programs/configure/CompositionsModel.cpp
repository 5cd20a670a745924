#include "programs/configure/CompositionsModel.h"

#include "platform/appkit/controls/NSTableView.h"
#include "programs/configure/SheetTexts.h"

#include <QByteArray>
#include <QDir>

#include <algorithm>

#include <sys/stat.h>

namespace vitrel {
namespace {

std::string folderOf(const std::string& path, const std::string& home)
{
    const auto slash = path.rfind('/');
    const std::string folder = slash == path.npos ? std::string() : path.substr(0, std::max<std::size_t>(slash, 1));
    if (home.size() > 1 && folder.starts_with(home) && (folder.size() == home.size() || folder[home.size()] == '/'))
        return "~" + folder.substr(home.size());
    return folder;
}

} // namespace

CompositionsModel::CompositionsModel(NSTableView& table, std::function<std::string(int row)> pathOfRow)
    : table_(table)
    , pathOfRow_(std::move(pathOfRow))
    , home_(QDir::homePath().toStdString())
{ }

int CompositionsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : rows_;
}

QVariant CompositionsModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rows_)
        return {};
    switch (role) {
    case Qt::DisplayRole: {
        NSTableViewDataSource* source = table_.dataSource();
        const Value value
            = source ? source->tableViewObjectValueForTableColumnRow(table_, nullptr, index.row()) : Value();
        const auto* text = value.as<std::string>();
        return text ? shownName(*text) : QString();
    }
    case kFolderRole:
    case Qt::AccessibleDescriptionRole:
        return shownName(folderOf(path(index.row()), home_));
    case Qt::ToolTipRole:
        return escapedText(shownName(path(index.row())));
    case kMissingRole: {
        struct ::stat status {
        };
        return ::stat(path(index.row()).c_str(), &status) != 0;
    }
    case kPathRole:
        return QByteArray::fromStdString(path(index.row()));
    default:
        return {};
    }
}

void CompositionsModel::reload()
{
    const int rows = table_.numberOfRows();
    if (rows != rows_) {
        beginResetModel();
        rows_ = rows;
        endResetModel();
    } else if (rows > 0) {
        // The view keeps its place.
        Q_EMIT dataChanged(index(0), index(rows - 1));
    }
}

void CompositionsModel::touch(int first, int last)
{
    first = std::max(first, 0);
    last = std::min(last, rows_ - 1);
    if (first <= last)
        Q_EMIT dataChanged(index(first), index(last));
}

} // namespace vitrel
