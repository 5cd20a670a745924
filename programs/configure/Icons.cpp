#include "programs/configure/Icons.h"

#include <QPainter>
#include <QWidget>

#include <initializer_list>

namespace vitrel {
namespace {

constexpr int kSide = 16; // points

QIcon iconOf(std::initializer_list<QRect> parts, const QWidget& button)
{
    QIcon icon;
    for (const auto& [mode, group] :
        {std::pair(QIcon::Normal, QPalette::Active), {QIcon::Disabled, QPalette::Disabled}}) {
        QPixmap pixmap(QSize(kSide, kSide) * button.devicePixelRatioF());
        pixmap.setDevicePixelRatio(button.devicePixelRatioF());
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        for (const QRect& part : parts)
            painter.fillRect(part, button.palette().color(group, QPalette::ButtonText));
        icon.addPixmap(pixmap, mode);
    }
    return icon;
}

} // namespace

QIcon plusIcon(const QWidget& button)
{
    return iconOf({{3, 7, 10, 2}, {7, 3, 2, 10}}, button);
}

QIcon minusIcon(const QWidget& button)
{
    return iconOf({{3, 7, 10, 2}}, button);
}

QIcon gridIcon(const QWidget& button)
{
    return iconOf({{2, 3, 5, 4}, {9, 3, 5, 4}, {2, 9, 5, 4}, {9, 9, 5, 4}}, button);
}

QIcon listIcon(const QWidget& button)
{
    return iconOf({{2, 3, 3, 2}, {7, 3, 7, 2}, {2, 7, 3, 2}, {7, 7, 7, 2}, {2, 11, 3, 2}, {7, 11, 7, 2}}, button);
}

} // namespace vitrel
