#pragma once

#include <QAbstractListModel>

#include <functional>
#include <string>

namespace vitrel {

class NSTableView;

// The rows of a table, each asked for when it is shown. Main thread.
class CompositionsModel : public QAbstractListModel
{
public:
    // The folder of a row's file, home as "~", and its whole path as the bytes that it has (QByteArray).
    static constexpr int kFolderRole = Qt::UserRole, kPathRole = Qt::UserRole + 1;
    // Whether there is no such file now.
    static constexpr int kMissingRole = Qt::UserRole + 2;

    // `table` must outlive it. `pathOfRow` gives an empty path for a row that isn't there.
    CompositionsModel(NSTableView& table, std::function<std::string(int row)> pathOfRow);

    std::string path(int row) const { return pathOfRow_(row); }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

    // The table's rows are other ones.
    void reload();
    // Something of these rows is to be painted anew.
    void touch(int first, int last);

private:
    NSTableView& table_;
    const std::function<std::string(int)> pathOfRow_;
    const std::string home_;
    int rows_ = 0;
};

} // namespace vitrel
