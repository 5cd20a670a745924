#pragma once

#include "platform/appkit/Bitmap.h"
#include "programs/preview/PreviewLink.h"

#include <QHash>
#include <QPixmap>
#include <QStyledItemDelegate>

#include <functional>
#include <memory>
#include <string>

namespace vitrel {

// Paints compositions and the headings over them: as rows of one height, with a small picture, the name and the folder;
// or as cells of a grid that fills its view, with a large picture and the name beneath, the chosen one with a frame and
// a mark.
class CompositionDelegate : public QStyledItemDelegate
{
public:
    static constexpr int kPictureWidth = 96, kPictureHeight = 54; // points, in a row
    static constexpr int kLeastCell = 232; // points; a grid has as many columns as such cells have room

    struct Pictures {
        // A composition's picture, or null without one.
        std::function<std::shared_ptr<const Bitmap>(const std::string& path)> still;
        // What it looks like right now, if it plays in its place.
        std::function<PreviewFrame(const std::string& path)> live;
    };
    CompositionDelegate(Pictures pictures, QObject* parent);

    void setGrid(bool grid) { isGrid_ = grid; }
    // Of a picture in a grid as wide as this one, in pixels.
    static QSize cellPicture(const QWidget& grid);

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    // A picture in the size in which it is painted.
    struct Scaled {
        std::weak_ptr<const Bitmap> source;
        QPixmap pixmap;
    };
    QPixmap picture(const QByteArray& path, const QSize& size, qreal ratio) const;
    void paintHeading(QPainter& painter, const QStyleOptionViewItem& option) const;
    void paintRow(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
    void paintCell(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
    void paintPicture(QPainter& painter, const QRect& place, const QStyleOptionViewItem& option, const QByteArray& path,
        bool onHighlight) const;
    void paintLack(QPainter& painter, const QRect& picture, const QModelIndex& index) const;
    void paintTexts(
        QPainter& painter, const QRect& place, const QStyleOptionViewItem& option, const QModelIndex& index) const;

    const Pictures pictures_;
    bool isGrid_ = false;
    mutable QHash<QByteArray, Scaled> scaled_;
};

} // namespace vitrel
