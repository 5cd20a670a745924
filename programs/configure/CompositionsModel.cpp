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

void CompositionsModel::setHeadings(const QString& builtIn, const QString& own)
{
    builtInHeading_ = builtIn;
    ownHeading_ = own;
}

int CompositionsModel::firstOwn() const
{
    const int above = shown_.empty() ? 0 : int(shown_.size()) + 1;
    return above + (ownHeading_.isEmpty() || rows_ == 0 ? 0 : 1);
}

int CompositionsModel::count() const
{
    return firstOwn() + rows_;
}

bool CompositionsModel::isHeading(int row) const
{
    return (row == 0 && !shown_.empty()) || (row == firstOwn() - 1 && rows_ > 0 && !ownHeading_.isEmpty());
}

const BuiltInComposition* CompositionsModel::builtIn(int row) const
{
    return row > 0 && row <= int(shown_.size()) ? &shown_[std::size_t(row) - 1] : nullptr;
}

std::optional<int> CompositionsModel::tableRow(int row) const
{
    return row >= firstOwn() && row < count() ? std::optional(row - firstOwn()) : std::nullopt;
}

std::optional<int> CompositionsModel::rowOfBuiltIn(const std::string& path) const
{
    const auto found
        = std::find_if(shown_.begin(), shown_.end(), [&](const BuiltInComposition& one) { return one.path == path; });
    return found == shown_.end() ? std::nullopt : std::optional(int(found - shown_.begin()) + 1);
}

std::string CompositionsModel::path(int row) const
{
    if (const auto* one = builtIn(row))
        return one->path;
    const auto own = tableRow(row);
    return own ? pathOfRow_(*own) : std::string();
}

int CompositionsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : count();
}

Qt::ItemFlags CompositionsModel::flags(const QModelIndex& index) const
{
    return index.isValid() && isHeading(index.row()) ? Qt::NoItemFlags : QAbstractListModel::flags(index);
}

// What stands in no picture: where it lies, what it says of itself, what it lacks.
QString CompositionsModel::inWords(int row, bool isToolTip) const
{
    const CompositionNotes notes = notes_ ? notes_(path(row)) : CompositionNotes();
    QStringList lines;
    if (!builtIn(row))
        lines << shownName(isToolTip ? path(row) : folderOf(path(row), home_));
    for (const QString& line : {isToolTip ? notes.about : QString(), notes.lacks}) {
        if (!line.isEmpty())
            lines << line;
    }
    return lines.join(isToolTip ? QStringLiteral("\n") : QStringLiteral("; "));
}

QVariant CompositionsModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= count())
        return {};
    const int row = index.row();
    if (role == kHeadingRole)
        return isHeading(row);
    if (isHeading(row))
        return role == Qt::DisplayRole ? (row == 0 && !shown_.empty() ? builtInHeading_ : ownHeading_) : QVariant();
    const auto* one = builtIn(row);
    switch (role) {
    case Qt::DisplayRole: {
        if (one)
            return shownName(one->name);
        NSTableViewDataSource* source = table_.dataSource();
        const Value value
            = source ? source->tableViewObjectValueForTableColumnRow(table_, nullptr, *tableRow(row)) : Value();
        const auto* text = value.as<std::string>();
        return text ? shownName(*text) : QString();
    }
    case kFolderRole:
        return one ? QString() : shownName(folderOf(path(row), home_));
    case Qt::AccessibleDescriptionRole:
        return inWords(row, false);
    case Qt::ToolTipRole: {
        const QString words = inWords(row, true);
        return words.isEmpty() ? QString() : escapedText(words).replace(QLatin1Char('\n'), QStringLiteral("<br>"));
    }
    case kLacksRole:
        return notes_ ? notes_(path(row)).lacks : QString();
    case kMissingRole: {
        struct ::stat status {
        };
        return ::stat(path(row).c_str(), &status) != 0;
    }
    case kPathRole:
        return QByteArray::fromStdString(path(row));
    default:
        return {};
    }
}

void CompositionsModel::reload()
{
    const int rows = table_.numberOfRows();
    const bool isSame = std::equal(builtIn_.begin(), builtIn_.end(), shown_.begin(), shown_.end(),
        [](const auto& a, const auto& b) { return a.path == b.path; });
    if (rows != rows_ || !isSame) {
        beginResetModel();
        rows_ = rows;
        shown_ = builtIn_;
        endResetModel();
    } else if (count() > 0) {
        // The view keeps its place.
        Q_EMIT dataChanged(index(0), index(count() - 1));
    }
}

void CompositionsModel::touch(int first, int last)
{
    first = std::max(first, 0);
    last = std::min(last, count() - 1);
    if (first <= last)
        Q_EMIT dataChanged(index(first), index(last));
}

} // namespace vitrel
