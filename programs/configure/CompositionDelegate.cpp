#include "programs/configure/CompositionDelegate.h"

#include "programs/configure/CompositionsModel.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace vitrel {
namespace {

constexpr int kMargin = 5, kGap = 10; // points
constexpr double kCorner = 3;

// Some screens full of rows; what is beyond is scaled again when it comes back.
constexpr int kMostScaled = 200;

// Of the font's size, for the folder beneath the name.
constexpr double kSmaller = 0.9;

QColor mixed(const QColor& a, const QColor& b, double part)
{
    const auto mix = [part](double x, double y) { return float(x * (1 - part) + y * part); };
    return QColor::fromRgbF(mix(a.redF(), b.redF()), mix(a.greenF(), b.greenF()), mix(a.blueF(), b.blueF()));
}

QPalette::ColorGroup groupOf(const QStyleOptionViewItem& option)
{
    return !(option.state & QStyle::State_Enabled) ? QPalette::Disabled
        : option.state & QStyle::State_Active      ? QPalette::Active
                                                   : QPalette::Inactive;
}

QColor textColor(const QStyleOptionViewItem& option)
{
    return option.palette.color(
        groupOf(option), option.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::Text);
}

} // namespace

CompositionDelegate::CompositionDelegate(
    std::function<std::shared_ptr<const Bitmap>(const std::string& path)> thumbnail, QObject* parent)
    : QStyledItemDelegate(parent)
    , thumbnail_(std::move(thumbnail))
{ }

QSize CompositionDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    return {kPictureWidth + 2 * kMargin, std::max(kPictureHeight, option.fontMetrics.height() * 2) + 2 * kMargin};
}

void CompositionDelegate::paint(QPainter* painter, const QStyleOptionViewItem& given, const QModelIndex& index) const
{
    QStyleOptionViewItem option = given;
    initStyleOption(&option, index);
    const QStyle* style = option.widget ? option.widget->style() : QApplication::style();
    painter->save();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &option, painter, option.widget);
    const QRect inside = option.rect.adjusted(kMargin, 0, -kMargin, 0);
    const QRect pictureBox = QStyle::alignedRect(
        option.direction, Qt::AlignLeft | Qt::AlignVCenter, QSize(kPictureWidth, kPictureHeight), inside);
    paintPicture(*painter, pictureBox, option, index.data(CompositionsModel::kPathRole).toByteArray());
    const QSize room(inside.width() - kPictureWidth - kGap, inside.height());
    paintTexts(*painter, QStyle::alignedRect(option.direction, Qt::AlignRight | Qt::AlignVCenter, room, inside), option,
        index);
    if (option.state & QStyle::State_HasFocus && !(option.state & QStyle::State_Selected)) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(option);
        focus.backgroundColor = option.palette.color(QPalette::Base);
        style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, option.widget);
    }
    painter->restore();
}

QPixmap CompositionDelegate::picture(const QByteArray& path, qreal ratio) const
{
    const auto bitmap = thumbnail_ ? thumbnail_(path.toStdString()) : nullptr;
    if (!bitmap || bitmap->width <= 0 || bitmap->height <= 0
        || bitmap->pixels.size() < std::size_t(bitmap->width) * std::size_t(bitmap->height))
        return {};
    const QSize size = (QSizeF(kPictureWidth, kPictureHeight) * ratio).toSize();
    auto found = scaled_.find(path);
    if (found != scaled_.end() && found->source.lock() == bitmap && found->pixmap.size() == size)
        return found->pixmap;
    if (scaled_.size() >= kMostScaled)
        scaled_.clear();
    const QImage image(reinterpret_cast<const uchar*>(bitmap->pixels.data()), bitmap->width, bitmap->height,
        qsizetype(bitmap->width) * 4, QImage::Format_ARGB32_Premultiplied);
    QPixmap pixmap = QPixmap::fromImage(
        image.size() == size ? image.copy() : image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    pixmap.setDevicePixelRatio(ratio);
    scaled_.insert(path, {bitmap, pixmap});
    return pixmap;
}

void CompositionDelegate::paintPicture(
    QPainter& painter, const QRect& place, const QStyleOptionViewItem& option, const QByteArray& path) const
{
    const QColor ink = textColor(option);
    const QColor ground = option.palette.color(
        groupOf(option), option.state & QStyle::State_Selected ? QPalette::Highlight : QPalette::Base);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath edge;
    edge.addRoundedRect(place, kCorner, kCorner);
    painter.setClipPath(edge);
    const QPixmap pixmap = picture(path, painter.device()->devicePixelRatioF());
    if (!pixmap.isNull()) {
        painter.drawPixmap(place.topLeft(), pixmap);
    } else {
        // A frame with a sun over hills, in the text's own colour.
        painter.fillPath(edge, mixed(ground, ink, 0.08));
        painter.setPen(Qt::NoPen);
        painter.setBrush(mixed(ground, ink, 0.22));
        const QPointF middle = QRectF(place).center();
        painter.drawEllipse(middle + QPointF(-9, -7), 4, 4);
        painter.drawPolygon(QPolygonF({middle + QPointF(-18, 13), middle + QPointF(-6, -1), middle + QPointF(1, 7),
            middle + QPointF(9, -5), middle + QPointF(20, 13)}));
    }
    painter.restore();
}

void CompositionDelegate::paintTexts(
    QPainter& painter, const QRect& place, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    if (place.width() <= 0)
        return;
    const QString folder = index.data(CompositionsModel::kFolderRole).toString();
    const bool isMissing = index.data(CompositionsModel::kMissingRole).toBool();
    QFont font = option.font;
    QFont small = font;
    font.setStrikeOut(isMissing);
    small.setPointSizeF(font.pointSizeF() > 0 ? font.pointSizeF() * kSmaller : 9);
    const QFontMetrics nameMetrics(font), folderMetrics(small);
    const int height = nameMetrics.height() + (folder.isEmpty() ? 0 : folderMetrics.height() + 1);
    const int top = place.top() + (place.height() - height) / 2;
    const int flags = int(QStyle::visualAlignment(option.direction, Qt::AlignLeft) | Qt::AlignVCenter)
        | Qt::TextSingleLine | Qt::TextDontClip;
    painter.setFont(font);
    QColor quiet = textColor(option);
    quiet.setAlphaF(0.65f);
    painter.setPen(isMissing ? quiet : textColor(option));
    painter.drawText(QRect(place.left(), top, place.width(), nameMetrics.height()), flags,
        nameMetrics.elidedText(option.text, Qt::ElideMiddle, place.width()));
    if (folder.isEmpty())
        return;
    painter.setFont(small);
    painter.setPen(quiet);
    painter.drawText(QRect(place.left(), top + nameMetrics.height() + 1, place.width(), folderMetrics.height()), flags,
        folderMetrics.elidedText(folder, Qt::ElideMiddle, place.width()));
}

} // namespace vitrel
