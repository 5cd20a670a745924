#pragma once

#include "platform/appkit/Bitmap.h"

#include <QHash>
#include <QPixmap>
#include <QStyledItemDelegate>

#include <functional>
#include <memory>
#include <string>

namespace vitrel {

// Paints a composition's row: its small picture, its name and its folder. All rows have one height.
class CompositionDelegate : public QStyledItemDelegate
{
public:
    static constexpr int kPictureWidth = 96, kPictureHeight = 54; // points

    // `thumbnail` gives a composition's picture, or null without one.
    CompositionDelegate(
        std::function<std::shared_ptr<const Bitmap>(const std::string& path)> thumbnail, QObject* parent);

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    // A picture in the size in which it is painted.
    struct Scaled {
        std::weak_ptr<const Bitmap> source;
        QPixmap pixmap;
    };
    QPixmap picture(const QByteArray& path, qreal ratio) const;
    void paintPicture(
        QPainter& painter, const QRect& place, const QStyleOptionViewItem& option, const QByteArray& path) const;
    void paintTexts(
        QPainter& painter, const QRect& place, const QStyleOptionViewItem& option, const QModelIndex& index) const;

    const std::function<std::shared_ptr<const Bitmap>(const std::string&)> thumbnail_;
    mutable QHash<QByteArray, Scaled> scaled_;
};

} // namespace vitrel
