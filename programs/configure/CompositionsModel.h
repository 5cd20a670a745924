#pragma once

#include "preferences/BuiltInCompositions.h"

#include <QAbstractListModel>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

class NSTableView;

// What is known of a composition's file, in words; empty where nothing is.
struct CompositionNotes {
    QString about; // what it says of itself, a line or two
    QString lacks; // what keeps it from playing in full
};

// The compositions that come along under a heading, then the rows of a table under theirs, each asked for when it is
// shown. A heading stands only over what is there, and can be neither chosen nor reached by key; the table's has none
// where nothing comes along. Main thread.
class CompositionsModel : public QAbstractListModel
{
public:
    // The folder of a row's file, home as "~", empty for what comes along; and its whole path as the bytes that it has
    // (QByteArray).
    static constexpr int kFolderRole = Qt::UserRole, kPathRole = Qt::UserRole + 1;
    // Whether there is no such file now.
    static constexpr int kMissingRole = Qt::UserRole + 2;
    static constexpr int kHeadingRole = Qt::UserRole + 3;
    // What it lacks, in words; empty if it plays in full, or nobody has looked yet.
    static constexpr int kLacksRole = Qt::UserRole + 4;

    // `table` must outlive it. `pathOfRow` gives an empty path for a row of the table that isn't there.
    CompositionsModel(NSTableView& table, std::function<std::string(int row)> pathOfRow);

    void setHeadings(const QString& builtIn, const QString& own);
    // Those of what comes along that are to be shown, from the next reload on.
    void setBuiltIn(std::vector<BuiltInComposition> shown) { builtIn_ = std::move(shown); }

    void setNotes(std::function<CompositionNotes(const std::string& path)> notes) { notes_ = std::move(notes); }

    // Empty for a heading.
    std::string path(int row) const;
    bool isHeading(int row) const;
    // The table's row behind a row, and back.
    std::optional<int> tableRow(int row) const;
    int rowOfTable(int tableRow) const { return firstOwn() + tableRow; }
    // Absent if that isn't shown.
    std::optional<int> rowOfBuiltIn(const std::string& path) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    // The table's rows are other ones.
    void reload();
    // Something of these rows is to be painted anew.
    void touch(int first, int last);

private:
    int count() const;
    int firstOwn() const; // behind its heading
    const BuiltInComposition* builtIn(int row) const;
    QString inWords(int row, bool isToolTip) const;

    NSTableView& table_;
    const std::function<std::string(int)> pathOfRow_;
    const std::string home_;
    std::function<CompositionNotes(const std::string&)> notes_;
    QString builtInHeading_, ownHeading_;
    std::vector<BuiltInComposition> builtIn_, shown_;
    int rows_ = 0; // of the table
};

} // namespace vitrel
