#include "programs/configure/CompositionDelegate.h"

#include "programs/configure/CompositionsModel.h"

#include <QAbstractScrollArea>
#include <QApplication>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace vitrel {
namespace {

constexpr int kMargin = 5, kGap = 10; // points
constexpr double kCorner = 3;

constexpr int kCellMargin = 8, kFrame = 3, kMark = 20; // of a grid's cells, points
constexpr int kAboveHeading = 10, kBelowHeading = 4;

// Some screens full; what is beyond is scaled again when it comes back.
constexpr int kMostScaled = 100;

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

// The width that a grid's items share; the same with and without a scroll bar.
int roomIn(const QWidget* view)
{
    const auto* area = qobject_cast<const QAbstractScrollArea*>(view);
    if (!area)
        return CompositionDelegate::kLeastCell;
    return std::max(CompositionDelegate::kLeastCell, area->viewport()->width() - 1);
}

int cellWidth(const QWidget* view)
{
    const int room = roomIn(view);
    return room / std::max(1, room / CompositionDelegate::kLeastCell);
}

} // namespace

CompositionDelegate::CompositionDelegate(Pictures pictures, QObject* parent)
    : QStyledItemDelegate(parent)
    , pictures_(std::move(pictures))
{ }

QSize CompositionDelegate::cellPicture(const QWidget& grid)
{
    const int width = cellWidth(&grid) - 2 * kCellMargin;
    return {width, (width * 9 + 8) / 16};
}

QSize CompositionDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const int line = option.fontMetrics.height();
    if (index.data(CompositionsModel::kHeadingRole).toBool())
        return {isGrid_ ? roomIn(option.widget) : 1, kAboveHeading + line + kBelowHeading};
    if (!isGrid_)
        return {kPictureWidth + 2 * kMargin, std::max(kPictureHeight, line * 2) + 2 * kMargin};
    const int width = cellWidth(option.widget);
    return {width, ((width - 2 * kCellMargin) * 9 + 8) / 16 + line + 2 * kCellMargin + kMargin};
}

void CompositionDelegate::paint(QPainter* painter, const QStyleOptionViewItem& given, const QModelIndex& index) const
{
    QStyleOptionViewItem option = given;
    initStyleOption(&option, index);
    painter->save();
    if (index.data(CompositionsModel::kHeadingRole).toBool())
        paintHeading(*painter, option);
    else if (isGrid_)
        paintCell(*painter, option, index);
    else
        paintRow(*painter, option, index);
    painter->restore();
}

void CompositionDelegate::paintHeading(QPainter& painter, const QStyleOptionViewItem& option) const
{
    QFont font = option.font;
    font.setBold(true);
    painter.setFont(font);
    QColor quiet = option.palette.color(QPalette::Active, QPalette::Text);
    quiet.setAlphaF(0.75f);
    painter.setPen(quiet);
    const QRect place = option.rect.adjusted(isGrid_ ? kCellMargin : kMargin, kAboveHeading, -kMargin, -kBelowHeading);
    painter.drawText(place,
        int(QStyle::visualAlignment(option.direction, Qt::AlignLeft) | Qt::AlignVCenter) | Qt::TextSingleLine,
        QFontMetrics(font).elidedText(option.text, Qt::ElideRight, place.width()));
}

void CompositionDelegate::paintRow(
    QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QStyle* style = option.widget ? option.widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &option, &painter, option.widget);
    const QRect inside = option.rect.adjusted(kMargin, 0, -kMargin, 0);
    const QRect pictureBox = QStyle::alignedRect(
        option.direction, Qt::AlignLeft | Qt::AlignVCenter, QSize(kPictureWidth, kPictureHeight), inside);
    paintPicture(painter, pictureBox, option, index.data(CompositionsModel::kPathRole).toByteArray(),
        option.state & QStyle::State_Selected);
    paintLack(painter, pictureBox, index);
    const QSize room(inside.width() - kPictureWidth - kGap, inside.height());
    paintTexts(
        painter, QStyle::alignedRect(option.direction, Qt::AlignRight | Qt::AlignVCenter, room, inside), option, index);
    if (option.state & QStyle::State_HasFocus && !(option.state & QStyle::State_Selected)) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(option);
        focus.backgroundColor = option.palette.color(QPalette::Base);
        style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, &painter, option.widget);
    }
}

void CompositionDelegate::paintCell(
    QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const bool isChosen = option.state & QStyle::State_Selected;
    const QRect inside = option.rect.adjusted(kCellMargin, kCellMargin, -kCellMargin, -kCellMargin);
    const QRect box(inside.topLeft(), QSize(inside.width(), (inside.width() * 9 + 8) / 16));
    paintPicture(painter, box, option, index.data(CompositionsModel::kPathRole).toByteArray(), false);
    paintLack(painter, box, index);
    const QColor accent = option.palette.color(groupOf(option), QPalette::Highlight);
    painter.setRenderHint(QPainter::Antialiasing);
    if (isChosen || option.state & QStyle::State_HasFocus) {
        const qreal width = isChosen ? kFrame : 1;
        painter.setPen(QPen(accent, width));
        painter.setBrush(Qt::NoBrush);
        const qreal beyond = width / 2 + 1;
        painter.drawRoundedRect(
            QRectF(box).adjusted(-beyond, -beyond, beyond, beyond), kCorner + beyond, kCorner + beyond);
    }
    if (isChosen) {
        const QRectF mark(box.right() - kMark - 5, box.top() + 6, kMark, kMark);
        painter.setPen(Qt::NoPen);
        painter.setBrush(accent);
        painter.drawEllipse(mark);
        painter.setPen(QPen(option.palette.color(groupOf(option), QPalette::HighlightedText), 2, Qt::SolidLine,
            Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        const QPointF middle = mark.center();
        painter.drawPolyline(
            QPolygonF({middle + QPointF(-4.5, 0.5), middle + QPointF(-1.2, 3.8), middle + QPointF(4.8, -3.4)}));
    }
    const bool isMissing = index.data(CompositionsModel::kMissingRole).toBool();
    QFont font = option.font;
    font.setBold(isChosen);
    font.setStrikeOut(isMissing);
    QColor ink = option.palette.color(groupOf(option), QPalette::Text);
    ink.setAlphaF(isMissing ? 0.65f : 1.0f);
    painter.setFont(font);
    painter.setPen(ink);
    const QRect name(box.left(), box.bottom() + 1 + kMargin, box.width(), QFontMetrics(font).height());
    painter.drawText(name, Qt::AlignCenter | Qt::TextSingleLine,
        QFontMetrics(font).elidedText(option.text, Qt::ElideMiddle, name.width()));
}

// In a corner of its picture: it can't play in full here. The words are in its tool tip.
void CompositionDelegate::paintLack(QPainter& painter, const QRect& picture, const QModelIndex& index) const
{
    if (index.data(CompositionsModel::kLacksRole).toString().isEmpty())
        return;
    constexpr double kSide = 18, kEdge = 4;
    const QColor amber(0xF5, 0xB3, 0x01), ink(0x20, 0x18, 0x00); // seen on any picture, in any theme
    const QRectF place(picture.left() + kEdge, picture.bottom() - kSide - kEdge + 1, kSide, kSide);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(ink, 1));
    painter.setBrush(amber);
    painter.drawPolygon(QPolygonF({place.bottomLeft(), QPointF(place.center().x(), place.top()), place.bottomRight()}));
    painter.setPen(QPen(ink, 2, Qt::SolidLine, Qt::RoundCap));
    const double middle = place.center().x();
    painter.drawLine(QPointF(middle, place.top() + 7), QPointF(middle, place.top() + 11));
    painter.drawPoint(QPointF(middle, place.top() + 14.5));
    painter.restore();
}

QPixmap CompositionDelegate::picture(const QByteArray& path, const QSize& place, qreal ratio) const
{
    const auto bitmap = pictures_.still ? pictures_.still(path.toStdString()) : nullptr;
    if (!bitmap || bitmap->width <= 0 || bitmap->height <= 0
        || bitmap->pixels.size() < std::size_t(bitmap->width) * std::size_t(bitmap->height))
        return {};
    const QSize size = (QSizeF(place) * ratio).toSize();
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

void CompositionDelegate::paintPicture(QPainter& painter, const QRect& place, const QStyleOptionViewItem& option,
    const QByteArray& path, bool onHighlight) const
{
    const QColor ink = onHighlight ? textColor(option) : option.palette.color(groupOf(option), QPalette::Text);
    const QColor ground = option.palette.color(groupOf(option), onHighlight ? QPalette::Highlight : QPalette::Base);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath edge;
    edge.addRoundedRect(place, kCorner, kCorner);
    painter.setClipPath(edge);
    const PreviewFrame frame = pictures_.live ? pictures_.live(path.toStdString()) : PreviewFrame();
    const QPixmap pixmap
        = frame.pixels ? QPixmap() : picture(path, place.size(), painter.device()->devicePixelRatioF());
    if (frame.pixels) {
        const QImage image(reinterpret_cast<const uchar*>(frame.pixels), frame.width, frame.height,
            qsizetype(frame.wordsPerRow * sizeof(std::uint32_t)), QImage::Format_RGB32);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(place, image);
    } else if (!pixmap.isNull()) {
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
